// A virtual frame on the bus, the store over it, and what it says to people.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <unistd.h>

#include "base/diagnostics.h"
#include "flash/process_flash.h"
#include "platform/linux/system_clock.h"
#include "platform/services.h"
#include "store/replace_picture.h"
#include "store/safekeeping.h"
#include "store/store.h"
#include "tests/support/command_letter.h"
#include "tests/support/picture_table.h"
#include "tests/support/recording_status.h"
#include "tests/support/temporary_folder.h"
#include "text/localized.h"
#include "vframe/new_frame.h"
#include "vframe/virtual_bus.h"

namespace lumato::store {

using Bytes = std::vector<std::uint8_t>;

inline constexpr int kTable = 0x10000;
inline constexpr int kArea = kTable + 4096;
inline constexpr int kBlock = 65536;

// Some bytes that the codec stand-in takes for a picture; different for each seed.
inline Bytes MakeStream(int size, unsigned seed) {
    Bytes stream(static_cast<std::size_t>(size));
    std::uint32_t state = seed * 2654435761U + 12345;
    for (std::uint8_t& byte : stream) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    std::copy_n("PIC", std::min<std::size_t>(3, stream.size()), stream.begin());
    return stream;
}

struct TestSlot {
    std::uint8_t status = 1;
    int address = 0;
    int length = 0;
};

// The flash of a frame, to be given pictures before it is plugged in.
class TestFlash {
  public:
    explicit TestFlash(int size = 0x50000, std::uint32_t erase = 0xD8, std::uint32_t limit = 0) {
        vframe::NewFrame frame;
        frame.lcdWidth = 160;
        frame.lcdHeight = 128;
        frame.flashSize = static_cast<std::uint32_t>(size);
        frame.eraseInstruction = erase;
        frame.pictureLimit = limit;
        bytes = vframe::MakeFlash(frame).value();
        Put(1024, MakeStream(kTable - 1024, 99));  // firmware, which nothing may ever touch
    }
    static TestFlash Of(Bytes bytes) { return TestFlash(std::move(bytes)); }

    // A table with these slots, from slot 1 on. Slots of status 1 get a stream of that length at
    // their address, seeded with the slot's number, if it lies on the flash.
    TestFlash& Slots(const std::vector<TestSlot>& slots) {
        test::PutTable(bytes, kTable);
        std::copy_n("0123456789AB", 12, bytes.begin() + kTable + 4);
        for (std::size_t i = 0; i < slots.size(); ++i) {
            const auto& [status, address, length] = slots[i];
            test::PutSlot(bytes, kTable, i + 1, status, static_cast<std::size_t>(address),
                          static_cast<std::size_t>(length));
            if (status == 1 && address >= kTable && address + length <= static_cast<int>(bytes.size()))
                Put(address, MakeStream(length, static_cast<unsigned>(i + 1)));
        }
        return *this;
    }
    // Pictures of these sizes, back to back from the start of the picture area.
    TestFlash& Pictures(const std::vector<int>& sizes) {
        std::vector<TestSlot> slots;
        int address = kArea;
        for (const int size : sizes) {
            slots.push_back({1, address, size});
            address += size;
        }
        return Slots(slots);
    }
    TestFlash& Put(int address, const Bytes& data) {
        std::copy(data.begin(), data.end(), bytes.begin() + address);
        return *this;
    }

    Bytes bytes;

  private:
    explicit TestFlash(Bytes held) : bytes(std::move(held)) {}
};

// A bitmap is "BM" and the stream; only streams of MakeStream() are pictures.
class TestCodec : public CodecPort {
  public:
    bool DeCode(const Path& source, const Path& destination, int width, int height) override {
        return DeCodeStream(ReadFile(source).value_or(Bytes()), destination, width, height);
    }
    bool DeCodeStream(ByteSpan stream, const Path& destination, int width, int height) override {
        if (stream.size() < 3 || std::memcmp(stream.data(), "PIC", 3) != 0) {
            m_lastError = {ErrorKind::Damaged, "no picture"};
            return false;
        }
        EXPECT_EQ(width, 160);
        EXPECT_EQ(height, 128);
        Bytes bitmap = {'B', 'M'};
        bitmap.insert(bitmap.end(), stream.begin(), stream.end());
        const auto written = WriteFile(destination, bitmap, Links::Replace);
        if (!written)
            m_lastError = written.error();
        return written.has_value();
    }
    const Error& LastError() const override { return m_lastError; }

  private:
    Error m_lastError;
};

// A bus whose devices note every command they are sent.
class SpyBus : public platform::Bus, private platform::BusListener {
  public:
    explicit SpyBus(platform::Bus& bus) : m_bus(bus) {}

    [[nodiscard]] Result<void> Start(platform::BusListener& listener) override {
        m_listener = &listener;
        return m_bus.Start(*this);
    }

    // The commands since the last call, as tests/support/command_letter.h has them.
    std::string Take() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_commands, {});
    }
    // From now on its devices pass for hardware, whose INQUIRY tells this vendor (8 characters).
    void BecomeHardware(std::string vendor) { m_vendor = std::move(vendor); }
    // What tells the next device from others of its model.
    void Call(std::string individual) { m_individual = std::move(individual); }
    // Called for each command afterwards, on the thread that sent it.
    void Watch(std::function<void()> watcher) { m_watcher = std::move(watcher); }

  private:
    struct Device : platform::ScsiDevice {
        Device(SpyBus& spy, std::unique_ptr<platform::ScsiDevice> real) : bus(spy), device(std::move(real)) {}

        platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override {
            platform::ScsiOutcome outcome = device->Execute(request);
            const char letter = test::LetterOf(request.block);
            if (letter == 'I')
                std::ranges::copy(bus.m_vendor, request.data.begin() + 8);
            {
                const std::lock_guard lock(bus.m_mutex);
                bus.m_commands += letter;
            }
            if (bus.m_watcher)
                bus.m_watcher();
            return outcome;
        }
        bool IsGone() const override { return device->IsGone(); }
        bool WantsIdentityConfirmed() const override { return !bus.m_vendor.empty(); }

        SpyBus& bus;
        std::unique_ptr<platform::ScsiDevice> device;
    };
    struct Service : platform::BusService {
        Service(SpyBus& spy, platform::BusService& real) : bus(spy), service(real) {}

        std::string Name() const override { return service.Name(); }
        std::string Individual() const override { return bus.m_individual; }
        Result<std::unique_ptr<platform::ScsiDevice>> Open() override {
            LUMATO_TRY(auto device, service.Open());
            return std::make_unique<Device>(bus, std::move(device));
        }

        SpyBus& bus;
        platform::BusService& service;
    };

    void ServiceAppeared(platform::BusService& service) override {
        m_services.push_back(std::make_unique<Service>(*this, service));
        m_listener->ServiceAppeared(*m_services.back());
    }
    void ServiceDisappeared(platform::BusService& service) override {
        for (const auto& known : m_services) {
            if (&known->service == &service)
                m_listener->ServiceDisappeared(*known);
        }
    }

    platform::Bus& m_bus;
    platform::BusListener* m_listener = nullptr;
    std::vector<std::unique_ptr<Service>> m_services;
    std::mutex m_mutex;
    std::string m_commands;
    std::function<void()> m_watcher;
    std::string m_vendor;  // empty: as the devices are
    std::string m_individual;
};

class StoreTest : public testing::Test {
  protected:
    // Thousands of files are synced: in memory where there is such a folder.
    StoreTest() : m_folder(::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : testing::TempDir()) {
        SetDiagnosticStream(nullptr);
        Start();
    }
    ~StoreTest() override { Stop(); }

    // Plugs the frame in and waits until the online task has ended.
    void Connect(const TestFlash& flash, std::vector<vframe::Fault> faults = {}) {
        Plug(flash, std::move(faults));
        WaitForOnline();
    }
    // The same without waiting.
    void Plug(const TestFlash& flash, std::vector<vframe::Fault> faults = {}) {
        m_service = &m_bus->Plug(vframe::FlashImage::InMemory(flash.bytes), {std::move(faults), 0});
    }
    void WaitForOnline() { device::Link().task.Join(); }
    void Unplug() { m_bus->Unplug(*m_service); }
    // Everything anew, as at program start.
    void Restart() {
        Stop();
        Start();
    }

    // As the adding room does it. Its stream is MakeStream(size, seed).
    void Add(int size, unsigned seed) {
        ++Store().gmyTotalePictureNum;
        FileData* record = NewPicture(size, seed).release();
        record->seqIndex = Store().gmyTotalePictureNum + 1000;
        AddNode(Store().gmyPictureData.get(), record);
        CountFreeSpace();
        ASSERT_TRUE(KeepAddition(*record));
    }
    void Replace(int position, int size, unsigned seed) {
        ASSERT_TRUE(ReplacePicture(position, NewPicture(size, seed)));
    }
    static std::unique_ptr<FileData> NewPicture(int size, unsigned seed) {
        auto record = std::make_unique<FileData>();
        record->fileName = "Picture" + std::to_string(++Store().gmyTotalePicture) + ".bmp";
        record->fileRef = BitmapPath(record->fileName);
        record->picSize = size;
        const Bytes stream = MakeStream(size, seed);
        EXPECT_TRUE(WriteFile(StreamPath(record->fileName), stream));
        EXPECT_TRUE(WriteFile(record->fileRef, stream));
        return record;
    }
    void Delete(int position) {
        Store().gmyCurrentSelectItem = position;
        DeletePictures();
    }
    // The button, the task, and the refresh event's handler. True when it succeeded.
    bool Download() {
        if (!BeginDownload())
            return false;
        bool done = false;
        platform::Task task([&] { done = TranspotPic(); });
        task.Join();
        FinishTransfer();
        return done;
    }

    Bytes FlashBytes() { return m_bus->Frame(*m_service).FlashBytes(); }
    // Sizes of the listed pictures.
    std::vector<int> Listed() {
        std::vector<int> sizes;
        for (const FileData& record : EachOf(Store().gmyPictureData))
            sizes.push_back(record.picSize);
        return sizes;
    }
    // The bytes of their streams; none where there is no file.
    std::vector<Bytes> Streams() {
        std::vector<Bytes> streams;
        for (const FileData& record : EachOf(Store().gmyPictureData))
            streams.push_back(ReadFile(StreamPath(record.fileName)).value_or(Bytes()));
        return streams;
    }
    Path Home() const { return m_folder.Get(); }
    // From the next connection on, journals are kept below the home folder.
    void KeepJournals() {
        m_state = Home() / "state";
        Store().statePath = m_state;
    }

    RecordingStatus m_status;
    TestCodec m_codec;
    platform::SystemClock m_clock;
    std::unique_ptr<vframe::VirtualBus> m_bus;
    std::unique_ptr<SpyBus> m_spy;
    std::unique_ptr<device::CCommUSB> m_device;
    platform::BusService* m_service = nullptr;
    StoreFramePort m_port;

  private:
    void Start() {
        m_bus = std::make_unique<vframe::VirtualBus>();
        m_spy = std::make_unique<SpyBus>(*m_bus);
        platform::CurrentServices() = {m_spy.get(), nullptr, &m_clock};
        text::SetLanguageFile(Home() / "Language.ini");
        Store().gmyResousepath = Home();
        Store().statePath = m_state;
        Store().status = &m_status;
        Store().MyJPG = &m_codec;
        device::Link().frame = &m_port;
        m_device = std::make_unique<device::CCommUSB>();
        m_device->IniUSBDevice();
    }
    void Stop() {
        device::Link().task.Join();
        device::ResetLink();
        flash::ResetFlash();
        ResetStore();
        m_device.reset();
        m_spy.reset();
        m_bus.reset();
    }

    test::TemporaryFolder m_folder;
    Path m_state;
};

// The first difference of two flash contents, or "" when there is none.
inline std::string Difference(const Bytes& a, const Bytes& b) {
    if (a.size() != b.size())
        return "sizes";
    const auto at = std::mismatch(a.begin(), a.end(), b.begin());
    if (at.first == a.end())
        return "";
    char text[64];
    std::snprintf(text, sizeof text, "at %06tX: %02X, %02X", at.first - a.begin(), unsigned{*at.first},
                  unsigned{*at.second});
    return text;
}

}  // namespace lumato::store
