#include "flash/process_flash.h"

#include <thread>
#include <utility>

#include "flash/command_block.h"

namespace lumato::flash {
namespace {

constexpr int kDirectionOut = 1;
constexpr int kDirectionIn = 2;
constexpr int kAnswerLength = 64;  // of the status and checksum commands

// A command block has three address bytes: a higher address would silently reach a lower one.
constexpr std::uint64_t kAddressSpace = 1U << 24;

constexpr std::uint8_t kOptionPageFlag = 0x02;

bool IsAddressable(std::uint64_t address, std::uint64_t length) {
    return length <= kAddressSpace && address <= kAddressSpace - length;
}

// The erase instructions that keep to one unit. Others may erase more than that, the firmware included.
bool ErasesOneUnit(std::uint8_t instruction) {
    return instruction == 0x20 || instruction == 0x52 || instruction == 0xD8;
}

// The frame hands every SPI instruction on to its chip. These, and no others, may reach it: a chip has many
// more, among them some that erase it whole or lock it for ever.
bool MayReachChip(const CommandBlock& block) {
    if (block[0] == kOpcodeSetClock || (block[0] == kOpcodeIn && block[5] == kChecksumMark))
        return true;  // the frame's own work
    const std::uint8_t instruction = block[10];
    if (block[0] == kOpcodeIn)
        return instruction == kReadStatus || instruction == kRead;
    return block[0] == kOpcodeOut && (instruction == kWriteEnable || instruction == kWriteStatus ||
                                      instruction == kPageProgram || ErasesOneUnit(instruction));
}

}  // namespace

bool WriteRange::Holds(std::uint64_t address, std::uint64_t length) const {
    return length > 0 && address >= begin && address < end && length <= end - address;
}

CProcessFlash::CProcessFlash(std::shared_ptr<device::AttachedFrame> frame) : m_frame(std::move(frame)) {}

void CProcessFlash::SetFlashCommand(unsigned char eraseCommand, char pageFlag) {
    m_EraseCommand = eraseCommand;
    m_bPageFlag = pageFlag != 0;
}

void CProcessFlash::SetWriteRange(WriteRange range) {
    m_writeRange = range;
}

bool CProcessFlash::Send(const CommandBlock& block, char* data, int length, int direction) {
    CommandBlock sent = block;  // the frame takes it as bytes that it might change
    return MayReachChip(block) &&
           m_frame->SendCmdToDPF(reinterpret_cast<char*>(sent.data()), data, length, direction);
}

bool CProcessFlash::Send(const CommandBlock& block) {
    std::array<char, kAnswerLength> scratch{};
    return Send(block, scratch.data(), 0, 0);
}

std::uint32_t CProcessFlash::EraseUnit() const {
    const std::uint32_t unit = EraseUnitOf(m_EraseCommand);
    return unit != 0 ? unit : 65536;
}

bool CProcessFlash::MayErase(std::uint64_t address) const {
    const std::uint64_t unit = EraseUnit();
    const std::uint64_t start = address - address % unit;
    return ErasesOneUnit(m_EraseCommand) && IsAddressable(start, unit) && m_writeRange.Holds(start, unit);
}

bool CProcessFlash::MayProgram(std::uint64_t address, std::uint64_t length) const {
    return ErasesOneUnit(m_EraseCommand) && IsAddressable(address, length) &&
           m_writeRange.Holds(address, length);
}

bool CProcessFlash::FlashWREN() {
    return Send(SpiBlock(kOpcodeOut, 1, kWriteEnable));
}

bool CProcessFlash::FlashWRSR(unsigned char value) {
    CommandBlock block = SpiBlock(kOpcodeOut, 2, kWriteStatus);
    block[11] = value;
    return Send(block);
}

// The status write clears the chip's block protection; it consumes the write enable, hence the second one.
// The outcome of the erase or program that follows tells whether they worked.
void CProcessFlash::PrepareWrite() {
    FlashWREN();
    FlashWRSR(0);
    FlashWREN();
}

bool CProcessFlash::Erase4KFlash(unsigned long address) {
    if (!m_frame->IsThere() || !MayErase(address))
        return false;
    PrepareWrite();
    return Send(AddressedBlock(kOpcodeOut, m_EraseCommand, 0, static_cast<std::uint32_t>(address)));
}

bool CProcessFlash::GetFlashStatus() {
    CommandBlock block = SpiBlock(kOpcodeIn, 1, kReadStatus);
    PutBe24(MutableByteSpan(block).subspan(7), kAnswerLength);
    std::array<char, kAnswerLength> answer{};
    const bool answered = Send(block, answer.data(), kAnswerLength, kDirectionIn);
    constexpr int kWriteInProgress = 0x01;
    return answered && (answer[0] & kWriteInProgress) == 0;
}

bool CProcessFlash::WaitFlashReady() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + m_readyLimit;
    while (m_frame->IsThere()) {
        std::this_thread::yield();
        if (GetFlashStatus())
            return true;
        if (Clock::now() >= deadline)
            return false;
    }
    return false;
}

bool CProcessFlash::Flash_WR_Page(char* data, long length, long address) {
    // Negative values become huge ones, which no range holds.
    if (!MayProgram(static_cast<std::uint64_t>(address), static_cast<std::uint64_t>(length)))
        return false;
    PrepareWrite();
    CommandBlock block = AddressedBlock(kOpcodeOut, m_PageProgramCommand, static_cast<std::uint32_t>(length),
                                        static_cast<std::uint32_t>(address));
    block[15] = m_bPageFlag ? kOptionPageFlag : 0;
    return Send(block, data, static_cast<int>(length), kDirectionOut);
}

bool CProcessFlash::WriteToFlash(char* data, int length, unsigned long address) {
    if (!m_frame->IsThere())
        return false;
    if (length <= 0)
        return true;
    return Flash_WR_Page(data, length, static_cast<long>(address));
}

bool CProcessFlash::ReadFromFlash(char* data, int length, unsigned long address) {
    if (!m_frame->IsThere() || length <= 0 || !IsAddressable(address, static_cast<std::uint64_t>(length)))
        return false;
    const CommandBlock block = AddressedBlock(kOpcodeIn, m_ReadCommand, static_cast<std::uint32_t>(length),
                                              static_cast<std::uint32_t>(address));
    return Send(block, data, length, kDirectionIn) && WaitFlashReady();
}

bool CProcessFlash::GetVerifyValue(unsigned char& high, unsigned char& low, unsigned long address,
                                   int length) {
    high = low = 0;
    if (!IsAddressable(address, 1))
        return false;
    CommandBlock block{};
    block[0] = kOpcodeIn;
    block[5] = kChecksumMark;
    block[6] = kChecksumMark;
    // Two bytes hold the length, so that a region of 65,536 bytes goes as 0.
    PutBe16(MutableByteSpan(block).subspan(7), static_cast<std::uint32_t>(length));
    PutBe24(MutableByteSpan(block).subspan(11), static_cast<std::uint32_t>(address));
    std::array<char, kAnswerLength> answer{};
    if (!Send(block, answer.data(), kAnswerLength, kDirectionIn))
        return false;
    high = static_cast<unsigned char>(answer[0]);
    low = static_cast<unsigned char>(answer[1]);
    return true;
}

FlashState& Flash() {
    static FlashState state;
    return state;
}

void ResetFlash() {
    Flash() = FlashState();
}

}  // namespace lumato::flash
