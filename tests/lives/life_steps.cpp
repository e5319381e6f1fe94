// The steps of a life.
#include <chrono>
#include <csignal>
#include <thread>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

#include "picture/add_pictures.h"
#include "store/transfer.h"
#include "tests/lives/life.h"

namespace lumato::lives {

// As often as not the frame that was there last.
void Life::Attach() {
    Detach();
    PlugIn(Random(2) == 0 ? m_lastFrame : Random(2), SomeFaults());
    m_program->Settle();
    ExpectList();
}

void Life::AttachAndUnplugAtOnce() {
    Detach();
    PlugIn(Random(2), {});
    std::this_thread::sleep_for(std::chrono::microseconds(Random(3000)));
    Note("unplug it at once");
    const Frame& frame = Plugged();
    const Bytes before = frame.flash;
    AfterUnplug();
    Demand(frame.flash == before, "connecting changes no byte");
}

void Life::Detach() {
    if (!m_plugged)
        return;
    Note("unplug");
    AfterUnplug();
}

void Life::Add() {
    if (!Online())
        return;
    const Path source = Source(Random(kSources));
    Note("add " + source.filename().string());
    const int free = store::Store().TotolFlashSizeForPic;
    const picture::BatchReport report = picture::AddPictures({source}, {}, picture::AfterRefusal::GoOn);
    if (report.added.empty()) {
        const int limit = Plugged().limit;
        Demand((limit != 0 && static_cast<int>(m_seen.size()) >= limit) || free < 4096,
               "a picture that fits is taken");
        return;
    }
    const Bytes stream = ReadFile(store::StreamPath(report.added[0].picture.name)).value_or(Bytes());
    Demand(static_cast<int>(stream.size()) == report.added[0].picture.bytes && !stream.empty(),
           "an added picture has its stream");
    m_seen.push_back(stream);
    Plugged().reference.waiting.push_back(stream);
}

// The batch's own task, and the plug pulled meanwhile.
void Life::AddBatchAndUnplug() {
    if (!Online() || !store::StartTransfer())
        return;
    Note("add a batch and unplug");
    std::vector<Path> files;
    for (unsigned count = 1 + Random(4); count > 0; --count)
        files.push_back(Source(Random(kSources)));
    Reference& reference = Plugged().reference;
    platform::Task task([&files] {
        store::TransferOwner owner;
        picture::ProcessMorePic(files);
    });
    std::this_thread::sleep_for(std::chrono::microseconds(Random(3000)));
    m_program->Bus().Unplug(*m_service);
    task.Join();
    AfterUnplug();
    reference.perhaps = InJournals(m_folder / "home/state");
}

void Life::Delete() {
    if (!Online() || m_seen.empty())
        return;
    const unsigned position = Random(static_cast<unsigned>(m_seen.size()) + 1);  // 0: none is selected
    Note("delete " + std::to_string(position));
    store::Store().gmyCurrentSelectItem = static_cast<int>(position);
    store::DeletePictures();
    Forget(position == 0 ? m_seen.size() - 1 : position - 1);
}

void Life::DeleteAll() {
    if (!Online())
        return;
    Note("delete all");
    store::Store().gmyDeleteAll = true;
    store::DeletePictures();
    store::Store().gmyDeleteAll = false;
    while (!m_seen.empty())
        Forget(m_seen.size() - 1);
}

void Life::Download() {
    if (!Online())
        return;
    Note("download");
    const bool done = fuzz::DownloadNow(m_program->Bus());
    Plugged().flash = PluggedFlash();
    AfterDownload(*m_plugged, done);
    if (!Online())
        AfterUnplug();
}

// The frame vanishes with one command of many half done, or soon after one that it only said it had done.
void Life::DownloadBrokenOff() {
    if (!Online())
        return;
    const unsigned command = 1 + Random(45);
    const bool lies = Random(3) == 0;
    const unsigned last = command + 1 + (lies ? Random(10) : 0);
    Note("command " + std::to_string(command) + (lies ? " is a lie" : " is half done") +
         ", and the frame vanishes at " + std::to_string(last));
    m_program->Bus().Order(*m_service, {command, lies ? vframe::FaultKind::Lie : vframe::FaultKind::Half});
    m_program->Bus().Order(*m_service, {last, vframe::FaultKind::Unplug});
    Download();
}

void Life::DownloadAndUnplug() {
    if (!Online() || !store::BeginDownload())
        return;
    Note("download and unplug");
    bool done = false;
    platform::Task task([&done] { done = store::TranspotPic(); });
    std::this_thread::sleep_for(std::chrono::microseconds(Random(1200)));
    platform::BusService& first = *m_service;
    const std::size_t firstFrame = *std::exchange(m_plugged, {});
    m_program->Bus().Unplug(first);
    if (Random(2) == 0)
        PlugIn(1 - firstFrame, {});  // while the task of the first may still be ending
    task.Join();
    m_program->Settle();
    m_frames[firstFrame].flash = m_program->Bus().Frame(first).FlashBytes();
    AfterDownload(firstFrame, done);
    ++m_tally["unplugged"];
    m_seen.clear();
    if (m_plugged)
        ExpectList();
}

// The program is killed somewhere in its download: a process of its own, so that nothing is tidied up.
void Life::DownloadAndKill() {
    if (!Online())
        return;
    Note("download and kill the program");
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(fuzz::DownloadNow(m_program->Bus()) ? 0 : 1);
    std::this_thread::sleep_for(std::chrono::microseconds(Random(4000)));
    ::kill(child, SIGKILL);
    int ended = 0;
    ::waitpid(child, &ended, 0);
    const bool done = WIFEXITED(ended) && WEXITSTATUS(ended) == 0;  // it came too late
    ++m_tally["killed"];
    const std::size_t frame = *m_plugged;
    const Pictures seen = m_seen;
    Begin(false);  // what this one still has in its list, the other one may have moved
    m_seen = seen;
    AfterDownload(frame, done);
    m_seen.clear();
}

// Its user asks for the end somewhere in it.
void Life::DownloadAndStop() {
    if (!Online() || !store::BeginDownload())
        return;
    Note("download and stop");
    const std::size_t shown = OnFlash(PluggedFlash()).size();
    bool done = false;
    platform::Task task([&done] { done = store::TranspotPic(); });
    std::this_thread::sleep_for(std::chrono::microseconds(Random(1200)));
    store::RequestStop();
    task.Join();
    m_program->Settle();
    Plugged().flash = PluggedFlash();
    const bool stopped = Online() && store::Store().downloadStopped;
    AfterDownload(*m_plugged, done);
    if (!Online())
        return AfterUnplug();
    if (!stopped)
        return;
    ++m_tally["stopped"];
    Demand(shown == 0 || m_seen.empty() || !OnFlash(Plugged().flash).empty(),
           "a stop leaves pictures to be shown");
    m_fromFrame = InFrame();
}

void Life::Restart() {
    Note("restart");
    Begin(false);
}

}  // namespace lumato::lives
