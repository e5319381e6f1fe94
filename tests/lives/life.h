// One random life of the program, as a seed decides: two frames come and go, pictures are added, deleted and
// downloaded, things go wrong, and much happens at once. Each step is held against the reference.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <random>
#include <string>

#include "fuzz/store_program.h"
#include "tests/lives/reference.h"

namespace lumato::lives {

inline constexpr unsigned kSources = 12;

// What the lives of a run have come to.
using Tally = std::map<std::string, int>;

struct Frame {
    Path image;
    Bytes flash;     // while it is not plugged in
    Bytes firmware;  // what must stay as it is
    int lcd = 8;
    int limit = 0;
    Reference reference;
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
    Frame MakeFrame(std::size_t number);
    std::vector<vframe::Fault> SomeFaults();
    void PlugIn(std::size_t frame, std::vector<vframe::Fault> faults);
    void ExpectList();
    [[nodiscard]] std::size_t InFrame() const;
    void AfterUnplug();
    void AfterDownload(std::size_t frame, bool done);
    void Forget(std::size_t index);
    void Begin(bool first);
    void Check();

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
    void Restart();

    [[nodiscard]] bool Online() const { return m_plugged && fuzz::IsOnline(); }
    Frame& Plugged() { return m_frames[*m_plugged]; }
    [[nodiscard]] Bytes PluggedFlash() { return m_program->Bus().Frame(*m_service).FlashBytes(); }
    [[nodiscard]] Path Source(unsigned number) const {
        return m_sources / ("source" + std::to_string(number) + ".bmp");
    }

    Path m_folder;   // of this life
    Path m_sources;  // pictures to add
    std::mt19937 m_random;
    Tally& m_tally;
    std::string m_steps;
    std::string m_fault;
    std::array<Frame, 2> m_frames;
    std::optional<fuzz::StoreProgram> m_program;
    platform::BusService* m_service = nullptr;
    std::optional<std::size_t> m_plugged;
    std::size_t m_lastFrame = 0;
    Pictures m_seen;              // what the user sees while a frame is online
    std::size_t m_fromFrame = 0;  // so many of them, from the first on, the frame holds
};

}  // namespace lumato::lives
