// One life of the program: frames come and go, pictures are added, deleted, downloaded and saved, and things
// go wrong, as a seed decides. Beside it runs the plainest reference there is: two lists of picture bytes,
// what the user sees and what the frame holds.
//
// Main thread only; the program's worker tasks run inside.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "fuzz/store_program.h"

namespace lumato::lives {

using Bytes = std::vector<std::uint8_t>;
using Pictures = std::vector<Bytes>;

// What the lives of a run have come to.
struct Tally {
    int lives = 0;
    int steps = 0;
    int downloads = 0;
    int failedDownloads = 0;
    int unplugged = 0;
    int waitingBack = 0;  // connections at which pictures came back that no table listed
    int recovered = 0;    // connections after a download that broke off
};

struct Frame {
    Bytes flash;     // while it is not plugged in
    Bytes firmware;  // what must stay as it is
    int lcd = 8;
    int limit = 0;
    Pictures stored;   // what its table lists
    Pictures waiting;  // added and not downloaded: they come back behind the stored ones
    // Since the last download failed, all those come back, but which of them wait is open;
    bool broken = false;
    bool anyOrder = false;    // their order, too, when that download was itself to mend a broken-off one;
    Pictures deleted;         // and those that were deleted and never left the frame may come back.
    std::size_t perhaps = 0;  // pictures of a batch that may have been added before the frame was gone
};

class Life {
  public:
    // Requires: `home` holds MakeSources()'s files.
    Life(const Path& home, unsigned seed, Tally& tally);

    // The first fault, with the steps that led to it; "" for none.
    std::string Run();

    static void MakeSources(const Path& home);

  private:
    using Step = void (Life::*)();

    unsigned Random(unsigned below) { return static_cast<unsigned>(m_random() % below); }
    void Note(const std::string& what) { m_steps += what + "\n"; }
    void Demand(bool kept, const std::string& promise);

    void MakeFrames();
    std::vector<vframe::Fault> SomeFaults();
    void PlugIn(int frame, std::vector<vframe::Fault> faults);
    // What follows a plug-in: the list is the one that this frame must show, or the frame was refused.
    void ExpectList();
    [[nodiscard]] bool IsExpected(const Frame& frame) const;
    // The pictures of the list, as their files have them.
    static Pictures Listed();
    void AfterUnplug();
    // A download ended, well or not.
    void AfterDownload(Frame& frame, const Bytes& flash, bool done);
    void Forget(std::size_t index);
    // What the table on a flash lists, read without the program's help.
    static Pictures OnFlash(const Bytes& flash);

    // The steps. One that makes no sense at the moment does nothing.
    void Attach();
    void AttachAndUnplugAtOnce();
    void Detach();
    void Add();
    void AddBatchAndUnplug();
    void Delete();
    void DeleteAll();
    void Download();
    void DownloadBrokenOff();
    void DownloadAndUnplug();
    void Save();
    void OtherFrame();
    void Restart();

    void Check();
    [[nodiscard]] bool Online() const { return m_plugged >= 0 && fuzz::IsOnline(); }
    Frame& Plugged() { return m_frames[static_cast<std::size_t>(m_plugged)]; }
    [[nodiscard]] Path StateFolder() const { return m_home / "state"; }
    [[nodiscard]] Path Source(unsigned number) const {
        return m_home / ("source" + std::to_string(number) + ".bmp");
    }

    Path m_home;
    std::mt19937 m_random;
    Tally& m_tally;
    std::string m_steps;
    std::string m_fault;
    std::array<Frame, 2> m_frames;
    std::optional<fuzz::StoreProgram> m_program;
    platform::BusService* m_service = nullptr;
    int m_plugged = -1;
    Pictures m_seen;              // what the user sees while a frame is online
    std::size_t m_fromFrame = 0;  // so many of them, from the first on, the frame holds
};

}  // namespace lumato::lives
