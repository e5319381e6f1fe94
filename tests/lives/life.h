// One random life of the program, as a seed decides: frames come and go, pictures are added, deleted,
// downloaded and saved, and things go wrong. Each step is held against the reference.
#pragma once

#include <array>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "fuzz/store_program.h"
#include "tests/lives/reference.h"

namespace lumato::lives {

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

class Life {
  public:
    // Requires: `home` holds MakeSources()'s files.
    Life(const Path& home, unsigned seed, Tally& tally);

    // The first fault, with the steps that led to it; "" for none.
    std::string Run();

    static void MakeSources(const Path& home);

  private:
    struct Frame {
        Bytes flash;     // while it is not plugged in
        Bytes firmware;  // what must stay as it is
        int lcd = 8;
        int limit = 0;
        Reference reference;
    };

    unsigned Random(unsigned below) { return static_cast<unsigned>(m_random() % below); }
    void Note(const std::string& what) { m_steps += what + "\n"; }
    void Demand(bool kept, const std::string& promise);

    void MakeFrames();
    std::vector<vframe::Fault> SomeFaults();
    void PlugIn(int frame, std::vector<vframe::Fault> faults);
    void ExpectList();
    void AfterUnplug();
    void AfterDownload(Frame& frame, const Bytes& flash, bool done);
    void Forget(std::size_t index);

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
    [[nodiscard]] Bytes PluggedFlash() { return m_program->Bus().Frame(*m_service).FlashBytes(); }
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
