// The SPI NOR flash of the frame, driven through its vendor commands: one method per command.
//
// One object exists per connected frame, and reaches no other. Nothing is verified or retried here: see
// checked_transfer.h. Called by the thread that owns the frame.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>

#include "device/attached_frame.h"

namespace lumato::flash {

// The part of the flash that may be erased and programmed. Until it is set, nothing may.
struct WriteRange {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;  // first address behind it
    // True when [address, address + length) lies inside; never for an empty one.
    [[nodiscard]] bool Holds(std::uint64_t address, std::uint64_t length) const;
};

class CProcessFlash {
  public:
    explicit CProcessFlash(std::shared_ptr<device::AttachedFrame> frame);

    // Its frame; never null.
    [[nodiscard]] device::AttachedFrame& Frame() const { return *m_frame; }

    // What the frame says of itself: its erase instruction, and whether page programs carry the option bit.
    void SetFlashCommand(unsigned char eraseCommand, char pageFlag);
    // Everything outside is refused from now on, without a command.
    void SetWriteRange(WriteRange range);

    // How long WaitFlashReady polls a busy flash; 5,000 ms unless set.
    void SetReadyLimit(std::chrono::milliseconds limit) { m_readyLimit = limit; }

    // Whether the guard lets the erase unit at `address`, or a program of `length` bytes, through. Neither
    // with an erase instruction that we do not know: what cannot be erased is not to be programmed over.
    [[nodiscard]] bool MayErase(std::uint64_t address) const;
    [[nodiscard]] bool MayProgram(std::uint64_t address, std::uint64_t length) const;

    // Each sends its one command; true when the frame accepted it.
    bool FlashWREN();
    bool FlashWRSR(unsigned char value);
    // Erases whatever unit the erase instruction erases at `address`; any address inside the unit does.
    bool Erase4KFlash(unsigned long address);
    // True when the flash is ready, false when it is busy or did not answer.
    bool GetFlashStatus();
    // Polls until the flash is ready; false when the frame goes offline or the limit is over.
    bool WaitFlashReady();
    // Programs the bytes, whatever the online state; the frame splits them into flash pages.
    bool Flash_WR_Page(char* data, long length, long address);
    // The same for an online frame; nothing to do, and true, for a length of 0 or less.
    bool WriteToFlash(char* data, int length, unsigned long address);
    // Reads `length` (at most 65,536) bytes and waits until the flash is ready again.
    bool ReadFromFlash(char* data, int length, unsigned long address);
    // The frame's 16-bit sum over `length` (1 to 65,536) flash bytes; both bytes are 0 after a failure.
    bool GetVerifyValue(unsigned char& high, unsigned char& low, unsigned long address, int length);
    // Sets the frame's clock to the computer's local time.
    bool SynchronizeDPFtime();

    // Bytes that the erase instruction erases; 65,536 for one that we do not know, so that nothing is ever
    // erased beyond the unit that was asked for.
    [[nodiscard]] std::uint32_t EraseUnit() const;

  private:
    void PrepareWrite();
    // Sends one command block; false without a command once the frame is not there, and for an instruction
    // that must not reach the chip.
    bool Send(const std::array<std::uint8_t, 16>& block, char* data, int length, int direction);
    // The same without a data phase.
    bool Send(const std::array<std::uint8_t, 16>& block);

    const std::shared_ptr<device::AttachedFrame> m_frame;
    WriteRange m_writeRange;
    std::chrono::milliseconds m_readyLimit{5000};
    bool m_bPageFlag = false;
    unsigned char m_EraseCommand = 0x20;
    unsigned char m_PageProgramCommand = 0x02;
    unsigned char m_ReadCommand = 0x03;
};

struct FlashState {
    // The connected frame's flash. A worker copies the pointer at its start, so the object lives until the
    // last task has let go of it.
    std::shared_ptr<CProcessFlash> m_PtrPF;
};

FlashState& Flash();
void ResetFlash();

}  // namespace lumato::flash
