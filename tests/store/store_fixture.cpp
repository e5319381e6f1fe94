#include "tests/store/store_fixture.h"

#include <cstring>

#include <unistd.h>

#include "base/diagnostics.h"
#include "platform/services.h"
#include "store/safekeeping.h"
#include "tests/support/picture_table.h"
#include "text/localized.h"

namespace lumato::store {

Bytes MakeStream(int size, unsigned seed) {
    Bytes stream(static_cast<std::size_t>(size));
    std::uint32_t state = seed * 2654435761U + 12345;
    for (std::uint8_t& byte : stream) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    std::copy_n("PIC", std::min<std::size_t>(3, stream.size()), stream.begin());
    return stream;
}

TestFlash::TestFlash(int size, std::uint32_t erase, std::uint32_t limit) {
    vframe::NewFrame frame;
    frame.lcdWidth = 160;
    frame.lcdHeight = 128;
    frame.flashSize = static_cast<std::uint32_t>(size);
    frame.eraseInstruction = erase;
    frame.pictureLimit = limit;
    bytes = vframe::MakeFlash(frame).value();
    Put(1024, MakeStream(kTable - 1024, 99));  // firmware, which nothing may ever touch
}

TestFlash& TestFlash::Put(int address, const Bytes& data) {
    std::copy(data.begin(), data.end(), bytes.begin() + address);
    return *this;
}

TestFlash TestFlash::Of(const Bytes& bytes) {
    TestFlash flash;
    flash.bytes = bytes;
    return flash;
}

TestFlash& TestFlash::Slots(const std::vector<TestSlot>& slots) {
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

TestFlash& TestFlash::Pictures(const std::vector<int>& sizes) {
    std::vector<TestSlot> slots;
    int address = kArea;
    for (const int size : sizes) {
        slots.push_back({1, address, size});
        address += size;
    }
    return Slots(slots);
}

bool TestCodec::DeCode(const Path& source, const Path& destination, int width, int height) {
    return DeCodeStream(ReadFile(source).value_or(Bytes()), destination, width, height);
}

bool TestCodec::DeCodeStream(ByteSpan stream, const Path& destination, int width, int height) {
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

// Thousands of files are synced: in memory where there is such a folder.
StoreTest::StoreTest() : m_folder(::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : testing::TempDir()) {
    SetDiagnosticStream(nullptr);
    Start();
}

StoreTest::~StoreTest() {
    Stop();
}

void StoreTest::Start() {
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
    flash::Flash().device = m_device.get();
    m_device->IniUSBDevice();
}

void StoreTest::Stop() {
    device::Link().task.Join();
    device::ResetLink();
    flash::ResetFlash();
    ResetStore();
    m_device.reset();
    m_spy.reset();
    m_bus.reset();
}

void StoreTest::Restart() {
    Stop();
    Start();
}

void StoreTest::KeepJournals() {
    m_state = Home() / "state";
    Store().statePath = m_state;
}

void StoreTest::Plug(const TestFlash& flash, std::vector<vframe::Fault> faults) {
    m_service = &m_bus->Plug(vframe::FlashImage::InMemory(flash.bytes), {std::move(faults), 0});
}

void StoreTest::WaitForOnline() {
    device::Link().task.Join();
}

void StoreTest::Connect(const TestFlash& flash, std::vector<vframe::Fault> faults) {
    Plug(flash, std::move(faults));
    WaitForOnline();
}

void StoreTest::Unplug() {
    m_bus->Unplug(*m_service);
}

void StoreTest::Add(int size, unsigned seed) {
    StoreState& store = Store();
    ++store.gmyTotalePictureNum;
    auto* record = new FileData;
    record->fileName = "Picture" + std::to_string(++store.gmyTotalePicture) + ".bmp";
    record->fileRef = BitmapPath(record->fileName);
    record->seqIndex = store.gmyTotalePictureNum + 1000;
    record->picSize = size;
    const Bytes stream = MakeStream(size, seed);
    ASSERT_TRUE(WriteFile(StreamPath(record->fileName), stream));
    ASSERT_TRUE(WriteFile(record->fileRef, stream));
    AddNode(store.gmyPictureData.get(), record);
    store.TotolFlashSizeForPic -= size;
    ASSERT_TRUE(KeepAddition(*record));
}

void StoreTest::Delete(int position) {
    Store().gmyCurrentSelectItem = position;
    DeletePictures();
}

bool StoreTest::Download() {
    if (!BeginDownload())
        return false;
    bool done = false;
    platform::Task task([&] { done = TranspotPic(); });
    task.Join();
    FinishTransfer();
    return done;
}

Bytes StoreTest::FlashBytes() {
    return m_bus->Frame(*m_service).FlashBytes();
}

std::vector<int> StoreTest::Listed() {
    std::vector<int> sizes;
    for (int i = 1; i <= Store().gmyPictureData->count; ++i)
        sizes.push_back(GetNode(Store().gmyPictureData.get(), i)->picSize);
    return sizes;
}

std::vector<Bytes> StoreTest::Streams() {
    std::vector<Bytes> streams;
    for (int i = 1; i <= Store().gmyPictureData->count; ++i)
        streams.push_back(
            ReadFile(StreamPath(GetNode(Store().gmyPictureData.get(), i)->fileName)).value_or(Bytes()));
    return streams;
}

std::string Difference(const Bytes& a, const Bytes& b) {
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
