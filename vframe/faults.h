// Faults on order: the frame's n-th command goes wrong.
//
// Parsing has no state. FaultyFrame runs one command at a time, from any thread.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "vframe/virtual_frame.h"

namespace lumato::vframe {

enum class FaultKind {
    Refuse,  // not executed, CHECK CONDITION
    Lost,    // executed, reported as CHECK CONDITION
    Half,    // the first half of its data, or of the unit it erases, is done; reported as CHECK CONDITION
    Flip,    // the lowest bit of its first data byte arrives changed; reported good
    Lie,     // not executed, reported good; data from the frame are zeros
    Unplug,  // not executed, and the frame is gone
};

struct Fault {
    std::uint64_t command = 1;  // counted from 1, over everything that the frame is sent
    FaultKind kind = FaultKind::Refuse;

    bool operator==(const Fault&) const = default;
};

// "N:KIND", the kind in small letters. Errors: Unsupported; the message quotes the text.
[[nodiscard]] Result<Fault> ParseFault(std::string_view text);

class FaultyFrame : public platform::ScsiDevice {
  public:
    // Of two faults for one command the first counts. Requires: the frame outlives this object.
    FaultyFrame(VirtualFrame& frame, std::vector<Fault> faults);

    [[nodiscard]] platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override;
    [[nodiscard]] bool IsGone() const override { return m_frame.IsGone(); }

    // One more fault, its command counted from now on. Not while one runs.
    void Order(Fault fault) {
        m_faults.push_back({.command = m_commands + fault.command, .kind = fault.kind});
    }
    // The next command goes wrong. Not while one runs.
    void FailNext(FaultKind kind) { m_faults.push_back({.command = m_commands + 1, .kind = kind}); }

  private:
    [[nodiscard]] platform::ScsiOutcome ExecuteWrongly(const platform::ScsiRequest& request, FaultKind kind);

    VirtualFrame& m_frame;
    std::vector<Fault> m_faults;
    std::uint64_t m_commands = 0;  // so far
};

}  // namespace lumato::vframe
