#include "flash/checked_transfer.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "base/diagnostics.h"
#include "flash/process_flash.h"

namespace lumato::flash {
namespace {

// The connected frame's flash while the frame is there, else null.
std::shared_ptr<CProcessFlash> OnlineFlash() {
    const std::shared_ptr<CProcessFlash>& flash = Flash().m_PtrPF;
    return flash != nullptr && flash->Frame().IsThere() ? flash : nullptr;
}

TransferCount& Count() {
    static TransferCount count;
    return count;
}

// A frame that has gone is no retry: the attempts are counted while it is there.
void CountAttempt(int attempt) {
    ++(attempt == 0 ? Count().blocks : Count().retries);
}

bool IsTransferLength(int length) {
    return length >= 1 && length <= kBlockSize;
}

// What one attempt at a write does: every byte of `data`, to `address`.
struct BlockWrite {
    unsigned char* data;
    int length;
    int address;
};

enum class Erasing {
    Once,       // one command: the frame erases what has to be erased
    EveryUnit,  // one command for each unit of the erase instruction that the data cover
};

bool Erase(CProcessFlash& flash, const BlockWrite& write, Erasing erasing) {
    const auto start = static_cast<unsigned long>(write.address);
    const unsigned long end =
        erasing == Erasing::Once ? start + 1 : start + static_cast<unsigned long>(write.length);
    for (unsigned long address = start; address < end; address += flash.EraseUnit()) {
        if (!flash.Erase4KFlash(address))
            return false;
    }
    return true;
}

bool Program(CProcessFlash& flash, const BlockWrite& write) {
    return flash.WriteToFlash(reinterpret_cast<char*>(write.data), write.length,
                              static_cast<unsigned long>(write.address));
}

bool WriteWithAttempts(const BlockWrite& write) {
    // Frames are meant to erase all that a write needs with the one instruction they name. When the flash
    // then differs, the instruction may have covered only its own unit.
    Erasing erasing = Erasing::Once;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::shared_ptr<CProcessFlash> flash = OnlineFlash();
        if (flash == nullptr)
            return false;
        CountAttempt(attempt);
        if (!Erase(*flash, write, erasing) || !Program(*flash, write))
            continue;
        if (JugeIfWriteIsSuccess(write.data, write.length, write.address))
            return true;
        // Units that were not erased are no weakness of the frame.
        if (std::exchange(erasing, Erasing::EveryUnit) == Erasing::Once &&
            flash->EraseUnit() < static_cast<std::uint32_t>(write.length))
            --Count().retries;
    }
    return false;
}

bool MayWrite(const CProcessFlash& flash, int address, int length) {
    const auto start = static_cast<std::uint64_t>(address);
    return flash.MayErase(start) && flash.MayProgram(start, static_cast<std::uint64_t>(length));
}

// Rewrites the whole block around the data, so that its other bytes stay.
bool WriteInsideBlock(unsigned char* data, int length, int base, int offset) {
    std::vector<unsigned char> block(kBlockSize);
    if (!ReadFlashData(block.data(), kBlockSize, base))
        return false;
    std::copy_n(data, length, block.begin() + offset);
    return WriteWithAttempts({block.data(), kBlockSize, base});
}

}  // namespace

const TransferCount& Transferred() {
    return Count();
}

bool JugeIfWriteIsSuccess(unsigned char* data, int length, int address) {
    const std::shared_ptr<CProcessFlash> flash = OnlineFlash();
    if (flash == nullptr || !IsTransferLength(length) || address < 0)
        return false;
    unsigned char high = 0;
    unsigned char low = 0;
    const bool answered = flash->GetVerifyValue(high, low, static_cast<unsigned long>(address), length);
    const int sum = Sum16(ByteSpan(data, static_cast<std::size_t>(length)));
    if (answered && high * 256 + low == sum)
        return true;
    Diagnose("Verify false");
    return false;
}

bool ReadFlashData(unsigned char* data, int length, int address) {
    if (!IsTransferLength(length) || address < 0)
        return false;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::shared_ptr<CProcessFlash> flash = OnlineFlash();
        if (flash == nullptr)
            return false;
        CountAttempt(attempt);
        const bool read =
            flash->ReadFromFlash(reinterpret_cast<char*>(data), length, static_cast<unsigned long>(address));
        if (read && JugeIfWriteIsSuccess(data, length, address))
            return true;
    }
    return false;
}

bool WriteDataToFlash(unsigned char* data, int length, int address) {
    const std::shared_ptr<CProcessFlash> flash = OnlineFlash();
    if (flash == nullptr || !IsTransferLength(length) || address < 0)
        return false;
    const int offset = address % kBlockSize;
    const int base = address - offset;
    if (offset + length > kBlockSize || !MayWrite(*flash, base, offset == 0 ? length : kBlockSize))
        return false;
    return offset == 0 ? WriteWithAttempts({data, length, address})
                       : WriteInsideBlock(data, length, base, offset);
}

}  // namespace lumato::flash
