// A virtual frame on the bus, the store over it, and what it says to people.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "flash/process_flash.h"
#include "platform/linux/system_clock.h"
#include "store/store.h"
#include "tests/store/spy_bus.h"
#include "tests/support/recording_status.h"
#include "tests/support/temporary_folder.h"
#include "vframe/new_frame.h"
#include "vframe/virtual_bus.h"

namespace lumato::store {

using Bytes = std::vector<std::uint8_t>;

inline constexpr int kTable = 0x10000;
inline constexpr int kArea = kTable + 4096;
inline constexpr int kBlock = 65536;

// Some bytes that the codec stand-in takes for a picture; different for each seed.
Bytes MakeStream(int size, unsigned seed);

struct TestSlot {
    std::uint8_t status = 1;
    int address = 0;
    int length = 0;
};

// The flash of a frame, to be given pictures before it is plugged in.
class TestFlash {
  public:
    explicit TestFlash(int size = 0x50000, std::uint32_t erase = 0xD8, std::uint32_t limit = 0);
    static TestFlash Of(const Bytes& bytes);

    // A table with these slots, from slot 1 on. Slots of status 1 get a stream of that length at
    // their address, seeded with the slot's number, if it lies on the flash.
    TestFlash& Slots(const std::vector<TestSlot>& slots);
    // Pictures of these sizes, back to back from the start of the picture area.
    TestFlash& Pictures(const std::vector<int>& sizes);
    TestFlash& Put(int address, const Bytes& bytes);

    Bytes bytes;
};

// A bitmap is "BM" and the stream; only streams of MakeStream() are pictures.
class TestCodec : public CodecPort {
  public:
    bool DeCode(const Path& source, const Path& destination, int width, int height) override;
    bool DeCodeStream(ByteSpan stream, const Path& destination, int width, int height) override;
    const Error& LastError() const override { return m_lastError; }

  private:
    Error m_lastError;
};

class StoreTest : public testing::Test {
  protected:
    StoreTest();
    ~StoreTest() override;

    // Plugs the frame in and waits until the online task has ended.
    void Connect(const TestFlash& flash, std::vector<vframe::Fault> faults = {});
    // The same without waiting.
    void Plug(const TestFlash& flash, std::vector<vframe::Fault> faults = {});
    void WaitForOnline();
    void Unplug();
    // Everything anew, as at program start.
    void Restart();

    // As the adding room does it. Its stream is MakeStream(size, seed).
    void Add(int size, unsigned seed);
    void Delete(int position);
    // The button, the task, and the refresh event's handler. True when it succeeded.
    bool Download();

    Bytes FlashBytes();
    // Sizes of the listed pictures.
    std::vector<int> Listed();
    // The bytes of their streams; none where there is no file.
    std::vector<Bytes> Streams();
    Path Home() const { return m_folder.Get(); }
    // From the next connection on, journals are kept below the home folder.
    void KeepJournals();

    RecordingStatus m_status;
    TestCodec m_codec;
    platform::SystemClock m_clock;
    std::unique_ptr<vframe::VirtualBus> m_bus;
    std::unique_ptr<SpyBus> m_spy;
    std::unique_ptr<device::CCommUSB> m_device;
    platform::BusService* m_service = nullptr;
    StoreFramePort m_port;

  private:
    void Start();
    void Stop();

    test::TemporaryFolder m_folder;
    Path m_state;
};

// The first difference of two flash contents, or "" when there is none.
std::string Difference(const Bytes& a, const Bytes& b);

}  // namespace lumato::store
