#include "app/browser/folder_watch.h"

#include <array>
#include <set>

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace lumato::app {

WatchHandle::WatchHandle() : m_descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

WatchHandle::~WatchHandle() {
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

int WatchHandle::Add(const Path& folder) const {
    return ::inotify_add_watch(m_descriptor, folder.c_str(),
                               IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE |
                                   IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_ONLYDIR);
}

void WatchHandle::Remove(int watch) const {
    if (watch >= 0)
        ::inotify_rm_watch(m_descriptor, watch);
}

FolderWatch::FolderWatch()
    : m_notifier(m_handle->Descriptor(), QSocketNotifier::Read),
      m_mountTable(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)),
      m_mountNotifier(m_mountTable, QSocketNotifier::Exception) {
    m_mountNotifier.setEnabled(m_mountTable >= 0);
    connect(&m_mountNotifier, &QSocketNotifier::activated, this, [this] { emit Changed(kMountsWatch); });
    m_notifier.setEnabled(m_handle->Descriptor() >= 0);
    connect(&m_notifier, &QSocketNotifier::activated, this, &FolderWatch::Read);
}

FolderWatch::~FolderWatch() {
    m_mountNotifier.setEnabled(false);
    if (m_mountTable >= 0)
        ::close(m_mountTable);
}

void FolderWatch::Read() {
    alignas(inotify_event) std::array<char, 16384> buffer{};
    std::set<int> changed;
    const ssize_t got = ::read(m_handle->Descriptor(), buffer.data(), buffer.size());
    for (std::size_t at = 0; got > 0 && at + sizeof(inotify_event) <= static_cast<std::size_t>(got);) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
        // When too much happened at once, anything may have changed: all are told of.
        if ((event->mask & IN_IGNORED) == 0)
            changed.insert(event->wd);
        at += sizeof(inotify_event) + event->len;
    }
    for (const int watch : changed)
        emit Changed(watch);
}

}  // namespace lumato::app
