// Every byte that the store changes lies where it may, and is checked by the frame's own sum afterwards.
#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

class WrittenBytesTest : public StoreTest {
  protected:
    void Watch() {
        m_spy->Watch([this](const platform::ScsiRequest& request, const platform::ScsiOutcome& outcome) {
            if (request.block.size() == 16 && outcome.status == platform::kStatusGood)
                Note(request);
        });
    }

    void Note(const platform::ScsiRequest& request) {
        const ByteSpan block = request.block;
        const std::size_t address = GetBe24(block.subspan(11));
        const std::size_t length = GetBe24(block.subspan(7));
        if (block[0] == 0xCB && block[10] == 0x02) {
            EXPECT_GE(address, static_cast<std::size_t>(kTable));
            Mark(m_programmed, address, length, true);
        } else if (block[0] == 0xCB && block[6] == 4) {
            const std::size_t unit = block[10] == 0x20 ? 4096 : block[10] == 0x52 ? 32768 : 65536;
            Mark(m_erased, address / unit * unit, unit, true);
        } else if (block[0] == 0xCD && block[5] == 5) {
            const std::size_t region = GetBe16(block.subspan(7)) == 0 ? 65536 : GetBe16(block.subspan(7));
            Mark(m_programmed, address, region, false);
        }
    }

    static void Mark(std::vector<bool>& marks, std::size_t address, std::size_t length, bool mark) {
        ASSERT_LE(address + length, marks.size());
        std::fill_n(marks.begin() + static_cast<std::ptrdiff_t>(address), length, mark);
    }

    void ExpectAllChecked() {
        EXPECT_EQ(std::find(m_programmed.begin(), m_programmed.end(), true), m_programmed.end());
    }

    static constexpr std::size_t kFlashSize = 0x50000;
    std::vector<bool> m_programmed = std::vector<bool>(kFlashSize);  // and not checked since
    std::vector<bool> m_erased = std::vector<bool>(kFlashSize);
};

TEST_F(WrittenBytesTest, OverAllOperations) {
    for (const std::uint32_t erase : {0x20U, 0x52U, 0xD8U}) {
        m_erased.assign(kFlashSize, false);
        TestFlash flash(kFlashSize, erase);
        flash.Put(0x20000, Bytes(3 * kBlock, 0)).Pictures({5000, 60000});
        Watch();
        Connect(flash);
        const std::function<void()> steps[] = {
            [&] { Add(700, 3); },
            [&] { Add(80000, 4); },
            [&] { Delete(2); },
            [&] { Add(0x50000 - kArea - 146000, 5); },  // no room behind: all anew
            [&] { Delete(1), Delete(1), Add(1000, 6); },
            [&] { Store().gmyDeleteAll = true, DeletePictures(), Store().gmyDeleteAll = false; },
            [&] { Add(3000, 7); },
        };
        for (const auto& step : steps) {
            step();
            EXPECT_TRUE(Download());
            ExpectAllChecked();
        }
        const auto first = std::find(m_erased.begin(), m_erased.end(), true);
        EXPECT_EQ(first - m_erased.begin(), kTable);
        const Bytes now = FlashBytes();
        EXPECT_TRUE(std::equal(now.begin(), now.begin() + kTable, flash.bytes.begin()));
        Restart();
    }
}

}  // namespace
}  // namespace lumato::store
