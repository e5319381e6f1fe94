// One random life of the program, as a seed decides: frames, many of them twins, come and go on two
// computers, pictures are added, deleted and downloaded, and things go wrong. Each step is held against the
// reference.
#pragma once

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "fuzz/store_program.h"
#include "tests/lives/reference.h"

namespace lumato::lives {

inline constexpr unsigned kSources = 12;

// What the lives of a run have come to.
struct Tally {
    int lives = 0;
    int steps = 0;
    int downloads = 0;
    int failedDownloads = 0;
    int unplugged = 0;
    int waitingBack = 0;  // connections at which pictures came back that no table listed
    int recovered = 0;    // connections after a download that broke off
    int twins = 0;        // connections of a frame while its twin's pictures wait on that computer
    int homeChanges = 0;  // connections of a frame to another computer than the last time
    int stopped = 0;      // downloads that their user ended early
    int killed = 0;       // programs that ended in the middle of a download
    int overwritten = 0;  // pictures lost by filling a frame anew elsewhere after its download broke off
};

class Life {
  public:
    // Requires: `folder` holds MakeSources()'s files.
    Life(const Path& folder, unsigned seed, Tally& tally);

    // The first fault, with the steps that led to it; "" for none.
    std::string Run();

    static void MakeSources(const Path& folder);

  private:
    unsigned Random(unsigned below) { return static_cast<unsigned>(m_random() % below); }
    void Note(const std::string& what) { m_steps += what + "\n"; }
    void Demand(bool kept, const std::string& promise);

    void MakeFrames();
    Frame MakeFrame(std::uint32_t flashSize);
    std::vector<vframe::Fault> SomeFaults();
    void PlugIn(std::size_t frame, std::vector<vframe::Fault> faults);
    void ExpectList();
    [[nodiscard]] std::size_t InFrame() const;
    void AfterUnplug();
    void AfterDownload(std::size_t frame, const Bytes& before, bool done);
    void Forget(std::size_t index);
    void StartProgram(std::size_t home);

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
    void DownloadAndKill();
    void DownloadAndStop();
    void Clone();
    void Restart();
    void OtherHome();

    void Check();

    [[nodiscard]] bool Online() const { return m_plugged && fuzz::IsOnline(); }
    Frame& Plugged() { return m_world.frames[*m_plugged]; }
    Reference& PluggedReference() { return Plugged().on[m_home]; }
    [[nodiscard]] Bytes PluggedFlash() { return m_program->Bus().Frame(*m_service).FlashBytes(); }
    [[nodiscard]] std::size_t SomeFrame();
    [[nodiscard]] Path NewImage(std::size_t number, const Bytes& flash);
    [[nodiscard]] Path Source(unsigned number) const {
        return m_sources / ("source" + std::to_string(number) + ".bmp");
    }

    Path m_folder;   // of this life
    Path m_sources;  // pictures to add
    std::mt19937 m_random;
    Tally& m_tally;
    std::string m_steps;
    std::string m_fault;
    World m_world;
    std::size_t m_home = 0;
    std::optional<fuzz::StoreProgram> m_program;
    platform::BusService* m_service = nullptr;
    std::optional<std::size_t> m_plugged;
    std::vector<std::size_t> m_lastHome;  // of each frame
    std::size_t m_lastFrame = 0;
    Pictures m_seen;              // what the user sees while a frame is online
    std::size_t m_fromFrame = 0;  // so many of them, from the first on, the frame holds
};

}  // namespace lumato::lives
