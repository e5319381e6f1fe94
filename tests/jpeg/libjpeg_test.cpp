// The encoder against a general JPEG library: what we call baseline coding must be what everybody does.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>
#include <jpeglib.h>

#include "tests/jpeg/slow_reader.h"
#include "tests/jpeg/test_picture.h"

namespace lumato::jpeg {
namespace {

[[noreturn]] void Throw(j_common_ptr library) {
    char message[JMSG_LENGTH_MAX];
    library->err->format_message(library, message);
    throw std::runtime_error(message);
}

jpeg_error_mgr* UseExceptions(jpeg_error_mgr& errors) {
    jpeg_std_error(&errors);
    errors.error_exit = Throw;
    return &errors;
}

// One component of the file, in the order of the file.
struct Component {
    bool isLuminance;
    std::size_t firstBlock;  // in SlowMcu::blocks
    std::size_t predictor;   // in SlowMcu::predictors
};
constexpr std::array<Component, 3> kOrder{Component{false, 0, 1}, {false, 1, 2}, {true, 2, 0}};

// Every MCU is an interval of its own in the file, so that it ends on a byte boundary; its DC values are
// taken relative to the predictors in the MCU table.
class FileWriter {
  public:
    explicit FileWriter(const SlowStream& stream) : m_stream(stream) {
        m_library.err = UseExceptions(m_errors);
        jpeg_create_compress(&m_library);
        jpeg_mem_dest(&m_library, &m_bytes, &m_size);
    }
    ~FileWriter() {
        jpeg_destroy_compress(&m_library);
        std::free(m_bytes);
    }
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;

    Bytes Write() {
        SetParameters();
        std::array<jvirt_barray_ptr, 3> arrays{};
        for (std::size_t i = 0; i < 3; ++i)
            arrays[i] = RequestArray(kOrder[i]);
        m_library.mem->realize_virt_arrays(Common());
        for (std::size_t i = 0; i < 3; ++i)
            FillArray(kOrder[i], arrays[i]);
        jpeg_write_coefficients(&m_library, arrays.data());
        jpeg_finish_compress(&m_library);
        return {m_bytes, m_bytes + m_size};
    }

  private:
    j_common_ptr Common() { return reinterpret_cast<j_common_ptr>(&m_library); }
    int Across(const Component& component) const { return component.isLuminance ? m_stream.wide : 1; }
    int Down(const Component& component) const { return component.isLuminance ? m_stream.tall : 1; }

    void SetParameters() {
        m_library.image_width = static_cast<JDIMENSION>(m_stream.across * m_stream.wide * 8);
        m_library.image_height = static_cast<JDIMENSION>(m_stream.down * m_stream.tall * 8);
        m_library.input_components = 3;
        m_library.in_color_space = JCS_YCbCr;
        jpeg_set_defaults(&m_library);
        m_library.restart_interval = 1;
        for (int table = 0; table < 2; ++table) {
            std::array<unsigned, 64> quant{};
            for (std::size_t k = 0; k < 64; ++k)
                quant[k] = static_cast<unsigned>(m_stream.quant[static_cast<std::size_t>(table)][k]);
            jpeg_add_quant_table(&m_library, table, quant.data(), 100, TRUE);
        }
        for (std::size_t i = 0; i < 3; ++i) {
            jpeg_component_info& info = m_library.comp_info[i];
            info.h_samp_factor = Across(kOrder[i]);
            info.v_samp_factor = Down(kOrder[i]);
            info.quant_tbl_no = info.dc_tbl_no = info.ac_tbl_no = kOrder[i].isLuminance ? 0 : 1;
        }
    }

    jvirt_barray_ptr RequestArray(const Component& component) {
        return m_library.mem->request_virt_barray(
            Common(), JPOOL_IMAGE, TRUE, static_cast<JDIMENSION>(m_stream.across * Across(component)),
            static_cast<JDIMENSION>(m_stream.down * Down(component)),
            static_cast<JDIMENSION>(Down(component)));
    }

    void FillArray(const Component& component, jvirt_barray_ptr array) {
        const int across = Across(component);
        const int down = Down(component);
        for (int y = 0; y < m_stream.down * down; ++y) {
            JBLOCKARRAY rows =
                m_library.mem->access_virt_barray(Common(), array, static_cast<JDIMENSION>(y), 1, TRUE);
            for (int x = 0; x < m_stream.across * across; ++x) {
                const SlowMcu& mcu =
                    m_stream.mcus[static_cast<std::size_t>(y / down * m_stream.across + x / across)];
                const auto inMcu = static_cast<std::size_t>(y % down * across + x % across);
                const SlowBlock& block = mcu.blocks[component.firstBlock + inMcu];
                for (std::size_t k = 0; k < 64; ++k)
                    rows[0][x][k] = static_cast<JCOEF>(block[k]);
                rows[0][x][0] = static_cast<JCOEF>(block[0] - mcu.predictors[component.predictor]);
            }
        }
    }

    const SlowStream& m_stream;
    jpeg_error_mgr m_errors{};
    jpeg_compress_struct m_library{};
    unsigned char* m_bytes = nullptr;
    unsigned long m_size = 0;
};

// T.81 section B.1.1: markers begin with FF, and a coded FF is followed by 00.
std::size_t BehindScanHeader(const Bytes& file) {
    std::size_t at = 2;
    while (file.at(at + 1) != 0xDA)
        at += 2U + GetBe16(ByteSpan(file).subspan(at + 2));
    return at + 2 + GetBe16(ByteSpan(file).subspan(at + 2));
}

// The library's entropy coding of each MCU, without byte stuffing.
std::vector<Bytes> CodeMcusWithLibrary(const SlowStream& stream) {
    const Bytes file = FileWriter(stream).Write();
    std::vector<Bytes> mcus(1);
    for (std::size_t at = BehindScanHeader(file); at + 1 < file.size(); ++at) {
        if (file[at] != 0xFF) {
            mcus.back().push_back(file[at]);
            continue;
        }
        const std::uint8_t next = file[++at];
        if (next == 0)
            mcus.back().push_back(0xFF);
        else if (next >= 0xD0 && next <= 0xD7)
            mcus.emplace_back();
        else
            break;  // end of image
    }
    return mcus;
}

// Also tells that our Huffman tables are the library's standard ones.
TEST(GeneralLibrary, CodesTheSameCoefficientsInTheSameBytes) {
    for (int mode = 0; mode < 4; ++mode) {
        for (const int quality : {1, 50, 90, 100}) {
            for (const TestPicture& picture : {Scene(70, 50), Noise(70, 50, 4)}) {
                const Bytes bytes = Encode(picture, quality, mode);
                const SlowStream stream = SlowRead(bytes);
                const std::vector<Bytes> expected = CodeMcusWithLibrary(stream);
                ASSERT_EQ(expected.size(), stream.mcus.size());
                for (std::size_t i = 0; i < expected.size(); ++i) {
                    const ByteSpan coded = stream.mcus[i].coded;
                    ASSERT_EQ(Bytes(coded.begin(), coded.end()), expected[i])
                        << "mode " << mode << " MCU " << i;
                }
            }
        }
    }
}

}  // namespace
}  // namespace lumato::jpeg
