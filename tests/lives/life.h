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
    // Downloads that were broken off and left a frame that shows neither the old list nor the new one: what a
    // recovery is for.
    int leftToRecovery = 0;
};

struct Frame {
    Bytes flash;     // while it is not plugged in
    Bytes firmware;  // what must stay as it is
    int lcd = 8;
    int limit = 0;
    Pictures stored;                  // what it holds
    std::optional<Pictures> instead;  // or this, after a download that was broken off
    bool recovery = false;            // or anything, after such a one
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
    // What follows a plug-in that nobody disturbed: the list is the frame's.
    void ExpectStored();
    void AfterUnplug();
    // A download ended, well or not.
    void AfterDownload(Frame& frame, const Bytes& flash, bool done);
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
    void DownloadAndUnplug();
    void Save();
    void OtherFrame();

    void Check();
    [[nodiscard]] bool Online() const { return m_plugged >= 0 && fuzz::IsOnline(); }
    Frame& Plugged() { return m_frames[static_cast<std::size_t>(m_plugged)]; }
    [[nodiscard]] Path Source(unsigned number) const {
        return m_home / ("source" + std::to_string(number) + ".bmp");
    }

    Path m_home;
    std::mt19937 m_random;
    Tally& m_tally;
    std::string m_steps;
    std::string m_fault;
    std::array<Frame, 2> m_frames;
    fuzz::StoreProgram m_program;
    platform::BusService* m_service = nullptr;
    int m_plugged = -1;
    Pictures m_seen;  // what the user sees while a frame is online
};

}  // namespace lumato::lives
