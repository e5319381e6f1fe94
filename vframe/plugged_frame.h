// A virtual frame as it is attached: with the faults that were ordered, at the pace that was asked for.
//
// Runs one command at a time, from any thread.
#pragma once

#include <vector>

#include "vframe/faults.h"
#include "vframe/pace.h"
#include "vframe/virtual_frame.h"

namespace lumato::vframe {

struct FrameOptions {
    std::vector<Fault> faults = {};
    double pace = 0;  // times as fast as a real one; 0: no waiting
    Identity identity = {};
};

class PluggedFrame : public platform::ScsiDevice {
  public:
    PluggedFrame(FlashImage flash, FrameOptions options)
        : m_frame(std::move(flash), options.identity),
          m_faulty(m_frame, std::move(options.faults)),
          m_paced(m_faulty, options.pace) {}

    [[nodiscard]] platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override {
        return m_paced.Execute(request);
    }
    [[nodiscard]] bool IsGone() const override { return m_frame.IsGone(); }

    // One more fault, its command counted from now on. Not while one runs.
    void Order(Fault fault) { m_faulty.Order(fault); }
    // The next command goes wrong. Not while one runs.
    void FailNext(FaultKind kind) { m_faulty.FailNext(kind); }

    // The frame itself: its flash, its clock, its plug.
    [[nodiscard]] VirtualFrame& Frame() { return m_frame; }

  private:
    VirtualFrame m_frame;
    FaultyFrame m_faulty;
    PacedDevice m_paced;
};

}  // namespace lumato::vframe
