// Hears when something in one of the open folders changes.
//
// Main thread only, but for WatchHandle::Add(): that may wait for a disk, and so is called by the thread that
// reads the folder, before it does, so that nothing is missed between the two.
#pragma once

#include <QSocketNotifier>
#include <memory>

#include "base/file.h"

namespace lumato::app {

inline constexpr int kNoWatch = -1;
inline constexpr int kMountsWatch = -2;  // no folder's: what is mounted has changed

// The system's list of watches; it stays open as long as a thread may still add to it.
class WatchHandle {
  public:
    WatchHandle();
    ~WatchHandle();
    WatchHandle(const WatchHandle&) = delete;
    WatchHandle& operator=(const WatchHandle&) = delete;

    // The folder's watch, which is the same for a folder that is watched already; kNoWatch where there is
    // none to be had.
    [[nodiscard]] int Add(const Path& folder) const;
    void Remove(int watch) const;
    [[nodiscard]] int Descriptor() const { return m_descriptor; }

  private:
    int m_descriptor;
};

class FolderWatch : public QObject {
    Q_OBJECT

  public:
    FolderWatch();
    ~FolderWatch() override;

    [[nodiscard]] std::shared_ptr<WatchHandle> Handle() const { return m_handle; }

  signals:
    // The folder of that watch, or what is mounted, is no longer as it was read.
    void Changed(int watch);

  private:
    void Read();

    std::shared_ptr<WatchHandle> m_handle = std::make_shared<WatchHandle>();
    QSocketNotifier m_notifier;
    int m_mountTable;  // the kernel tells of a change of it by itself
    QSocketNotifier m_mountNotifier;
};

}  // namespace lumato::app
