#include "import/jpeg_decoder.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <jerror.h>
#include <jpegint.h>

#include "base/diagnostics.h"
#include "import/libjpeg_built_for.h"
#include "import/libjpeg_mark.h"

namespace lumato::picture {
namespace {

constexpr std::size_t kBufferSize = 1 << 16;
constexpr JOCTET kEndOfImage[] = {0xFF, JPEG_EOI};
constexpr int kExifMarker = JPEG_APP0 + 1;
constexpr int kProfileMarker = JPEG_APP0 + 2;

// Markers are kept in memory; profile and Exif together stay below 17 MB in a sound file.
constexpr std::int64_t kMaxHeader = 32 * 1024 * 1024;

// A scan of next to no bytes costs a pass over all coefficients, so that a small file could keep us busy for
// hours. Real ones have about ten scans.
constexpr std::int64_t kMaxScanWork = std::int64_t{32} * 1024 * 1024 * 1024;

// The scan of a smaller picture is read within about a millisecond.
constexpr std::int64_t kLeastPixelsForThread = 500'000;

// Coefficients are a hundred times as many bytes as their file only in pictures of next to nothing.
std::int64_t CoefficientLimit(std::int64_t fileSize) {
    constexpr std::int64_t kAlways = 384 * 1024 * 1024;
    constexpr std::int64_t kNever = 1536 * std::int64_t{1024} * 1024;
    return std::clamp(fileSize * 100, kAlways, kNever);
}

// What jpegint.h shows of it may be otherwise in another version.
bool IsLibjpegKnown(const jpeg_error_mgr& errors) {
    if (LibjpegMark(errors) == kLibjpegBuiltFor)
        return true;
    static std::atomic_flag told;
    if (!told.test_and_set())
        Diagnose("libjpeg is not the version that this program was built with: photographs take longer");
    return false;
}

ErrorKind KindOf(int message) {
    switch (message) {
        case JERR_OUT_OF_MEMORY:
        case JERR_IMAGE_TOO_BIG:
        case JERR_WIDTH_OVERFLOW:
            return ErrorKind::TooLarge;
        case JERR_BAD_PRECISION:
        case JERR_SOF_UNSUPPORTED:
        case JERR_ARITH_NOTIMPL:
        case JERR_CONVERSION_NOTIMPL:
        case JERR_NOT_COMPILED:
        case JERR_COMPONENT_COUNT:
            return ErrorKind::Unsupported;
        default:
            return ErrorKind::Damaged;
    }
}

// Warnings after which part of the picture is not what was stored.
bool IsDamage(int message) {
    constexpr int kDamage[] = {JWRN_HIT_MARKER, JWRN_HUFF_BAD_CODE, JWRN_MUST_RESYNC, JWRN_ARITH_BAD_CODE,
                               JWRN_JPEG_EOF};
    return std::ranges::find(kDamage, message) != std::end(kDamage);
}

}  // namespace

JpegDecoder& JpegDecoder::Of(j_common_ptr common) {
    return *static_cast<ErrorManager*>(common->err)->decoder;
}

JpegDecoder& JpegDecoder::Of(j_decompress_ptr decompress) {
    return Of(reinterpret_cast<j_common_ptr>(decompress));
}

JpegDecoder::JpegDecoder(const PictureFile& file, Reading reading)
    : m_file(file), m_buffer(kBufferSize), m_reading(reading) {
    m_jpeg.err = jpeg_std_error(&m_errors);
    m_errors.decoder = this;
    m_errors.error_exit = [](j_common_ptr common) { Of(common).OnError(); };
    m_errors.emit_message = [](j_common_ptr common, int level) { Of(common).OnMessage(level); };
    m_errors.output_message = [](j_common_ptr) {};
}

JpegDecoder::~JpegDecoder() {
    // Also right after a creation that failed: the structure is zero then.
    jpeg_destroy_decompress(&m_jpeg);
}

// libjpeg leaves an error by a jump from its inside to here. Nothing with a destructor may stand in between:
// a step holds plain values only.
template <class Step>
Result<void> JpegDecoder::Guarded(Step step) {
    if (setjmp(m_jump) != 0)
        return tl::unexpected(m_error);
    step();
    return {};
}

// libjpeg, which this and the next are called from, lets no exception through.
void JpegDecoder::Raise(ErrorKind kind, const Words& reason) {
    try {
        m_error = {kind, reason};
    } catch (const std::bad_alloc&) {
        std::swap(m_error, m_noMemory);
    }
    std::longjmp(m_jump, 1);
}

void JpegDecoder::OnError() {
    char message[JMSG_LENGTH_MAX] = {};
    m_errors.format_message(reinterpret_cast<j_common_ptr>(&m_jpeg), message);
    const ErrorKind kind = KindOf(m_errors.msg_code);
    try {
        m_error.kind = kind;
        if (kind == ErrorKind::Damaged && m_ended)
            m_error.message = kCutOff;
        else
            m_error.message = kind == ErrorKind::Damaged ? Phrase(kBroken, message) : Phrase(message);
    } catch (const std::bad_alloc&) {
        std::swap(m_error, m_noMemory);
    }
    std::longjmp(m_jump, 1);
}

void JpegDecoder::OnMessage(int level) {
    if (level >= 0)
        return;
    if (m_errors.msg_code == JWRN_EXTRANEOUS_DATA)
        m_discarded = true;
    if (m_errors.msg_code == JWRN_BOGUS_ICC)
        m_profileBroken = true;
    if (IsDamage(m_errors.msg_code))
        OnError();
}

// At the end of the file an end of image is made up: a file that lacks just that has lost nothing.
// CheckScans() and Finish() find out whether more is missing.
bool JpegDecoder::Fill() {
    auto got = m_file.ReadAt(m_offset, m_buffer);
    if (!got) {
        m_error = std::move(got).error();
        return false;
    }
    m_source.next_input_byte = m_buffer.data();
    m_source.bytes_in_buffer = *got;
    m_offset += static_cast<std::int64_t>(*got);
    if (*got == 0) {
        m_ended = true;
        m_source.next_input_byte = kEndOfImage;
        m_source.bytes_in_buffer = sizeof kEndOfImage;
    }
    return true;
}

void JpegDecoder::Skip(long count) {
    if (count <= 0)
        return;
    const auto bytes = static_cast<std::size_t>(count);
    if (bytes <= m_source.bytes_in_buffer) {
        m_source.next_input_byte += bytes;
        m_source.bytes_in_buffer -= bytes;
        return;
    }
    m_offset += static_cast<std::int64_t>(bytes - m_source.bytes_in_buffer);
    m_source.bytes_in_buffer = 0;
}

void JpegDecoder::SetUpSource() {
    m_source.init_source = [](j_decompress_ptr) {};
    m_source.fill_input_buffer = [](j_decompress_ptr jpeg) -> boolean {
        JpegDecoder& decoder = Of(jpeg);
        if (decoder.m_inHeader && decoder.m_offset > kMaxHeader)
            decoder.Raise(ErrorKind::TooLarge,
                          {"HEADER_TOO_LARGE", "too large: its header has more than 32 MB"});
        if (!decoder.Fill())
            std::longjmp(decoder.m_jump, 1);
        return TRUE;
    };
    m_source.skip_input_data = [](j_decompress_ptr jpeg, long count) { Of(jpeg).Skip(count); };
    m_source.resync_to_restart = jpeg_resync_to_restart;
    m_source.term_source = [](j_decompress_ptr) {};
    m_jpeg.src = &m_source;
}

void JpegDecoder::WatchScans() {
    if (m_jpeg.input_scan_number * m_coefficients.Bytes() > kMaxScanWork)
        Raise(ErrorKind::TooLarge, {"TOO_MANY_SCANS", "too large: more scans than any real picture has"});
    for (int i = 0; i < m_jpeg.comps_in_scan; ++i)
        m_componentsSeen |= 1U << m_jpeg.cur_comp_info[i]->component_index;
}

Result<void> JpegDecoder::ReadHeader() {
    LUMATO_TRY_VOID(Guarded([this] {
        jpeg_create_decompress(&m_jpeg);
        m_jpeg.client_data = &m_coefficients;
        SetUpSource();
        m_progress.progress_monitor = [](j_common_ptr common) { Of(common).WatchScans(); };
        m_jpeg.progress = &m_progress;
    }));
    m_coefficients.Install(&m_jpeg, [this](ErrorKind kind, const Words& reason) { Raise(kind, reason); });
    m_coefficients.SetLimit(CoefficientLimit(m_file.Size()));
    LUMATO_TRY_VOID(Guarded([this] {
        jpeg_save_markers(&m_jpeg, kExifMarker, 0xFFFF);
        jpeg_save_markers(&m_jpeg, kProfileMarker, 0xFFFF);
        jpeg_read_header(&m_jpeg, TRUE);
    }));
    m_inHeader = false;
    LUMATO_TRY([[maybe_unused]] const Size size, CheckedSize(m_jpeg.image_width, m_jpeg.image_height));
    LUMATO_TRY_VOID(CheckCompressedSize());
    return ChooseLayout();
}

// A block of a single Huffman-coded scan takes at least one bit for its first coefficient and one for its
// end, so that a header can be caught lying before memory is spent on it.
Result<void> JpegDecoder::CheckCompressedSize() const {
    if (m_jpeg.progressive_mode || m_jpeg.arith_code)
        return {};
    std::int64_t blocks = 0;
    for (int i = 0; i < m_jpeg.num_components; ++i)
        blocks += std::int64_t{m_jpeg.comp_info[i].width_in_blocks} * m_jpeg.comp_info[i].height_in_blocks;
    if (m_file.Size() < blocks / 4)
        return Fail(ErrorKind::Damaged, kCutOff);
    return {};
}

Result<void> JpegDecoder::ChooseLayout() {
    switch (m_jpeg.jpeg_color_space) {
        case JCS_GRAYSCALE:
            m_layout = PixelLayout::Grey;
            m_jpeg.out_color_space = JCS_GRAYSCALE;
            return {};
        case JCS_RGB:
        case JCS_YCbCr:
            m_layout = PixelLayout::Rgb;
            m_jpeg.out_color_space = JCS_RGB;
            return {};
        case JCS_CMYK:
        case JCS_YCCK:
            m_layout = m_jpeg.saw_Adobe_marker ? PixelLayout::CmykInverted : PixelLayout::Cmyk;
            m_jpeg.out_color_space = JCS_CMYK;
            return {};
        default:
            return Fail(ErrorKind::Unsupported,
                        Phrase("JPEG_COLOURS", "a JPEG file of {0} colours, which is not supported",
                               m_jpeg.num_components));
    }
}

Size JpegDecoder::OwnSize() const {
    return {static_cast<int>(m_jpeg.image_width), static_cast<int>(m_jpeg.image_height)};
}

ByteSpan JpegDecoder::Exif() const {
    constexpr std::string_view kStart("Exif\0\0", 6);
    for (const jpeg_marker_struct* marker = m_jpeg.marker_list; marker; marker = marker->next) {
        const std::string_view data(reinterpret_cast<const char*>(marker->data), marker->data_length);
        if (marker->marker == kExifMarker && data.starts_with(kStart))
            return {marker->data, marker->data_length};
    }
    return {};
}

std::vector<std::uint8_t> JpegDecoder::Profile() {
    JOCTET* data = nullptr;
    unsigned size = 0;
    const auto read = Guarded([&] { jpeg_read_icc_profile(&m_jpeg, &data, &size); });
    const std::unique_ptr<JOCTET, void (*)(void*)> owned(read ? data : nullptr, std::free);
    return owned ? std::vector<std::uint8_t>(data, data + size) : std::vector<std::uint8_t>();
}

// Colours that have half the resolution are made smooth where it can be seen alone.
Result<Size> JpegDecoder::Scale(int eighths, bool rough) {
    LUMATO_TRY_VOID(Guarded([this, eighths, rough] {
        m_jpeg.do_fancy_upsampling = rough ? FALSE : TRUE;
        m_jpeg.scale_num = static_cast<unsigned>(eighths);
        m_jpeg.scale_denom = 8;
        jpeg_calc_output_dimensions(&m_jpeg);
    }));
    return Size{static_cast<int>(m_jpeg.output_width), static_cast<int>(m_jpeg.output_height)};
}

std::int64_t JpegDecoder::Memory() const {
    constexpr std::int64_t kRows = 64;  // of coefficients and samples, measured
    const std::int64_t rows = std::int64_t{m_jpeg.image_width} * m_jpeg.num_components * kRows;
    if (jpeg_has_multiple_scans(const_cast<jpeg_decompress_struct*>(&m_jpeg)) == FALSE)
        return rows;
    std::int64_t coefficients = 0;
    for (int i = 0; i < m_jpeg.num_components; ++i)
        coefficients += std::int64_t{m_jpeg.comp_info[i].width_in_blocks} *
                        m_jpeg.comp_info[i].height_in_blocks * std::int64_t{sizeof(JBLOCK)};
    return rows + JpegCoefficients::InMemory(coefficients);
}

Result<void> JpegDecoder::Start(bool asHeld) {
    LUMATO_TRY_VOID(Guarded([this, asHeld] {
        if (asHeld)
            m_jpeg.out_color_space = JCS_EXT_XRGB;
        // Smoothing guesses what a scan that is still to come will bring; ours have all come.
        m_jpeg.do_block_smoothing = FALSE;
        jpeg_start_decompress(&m_jpeg);
    }));
    if (jpeg_has_multiple_scans(&m_jpeg))
        return CheckScans();
    if (m_reading != Reading::Any)
        TakeOverScan();
    return {};
}

// Where libjpeg makes colours smooth of which it reduced some less than others it takes too narrow a part.
Result<int> JpegDecoder::LeaveOut(Columns needed) {
    constexpr int kMargin = 4;  // as they are made smooth: two samples of half the resolution
    if (needed.begin >= needed.end ||
        (m_jpeg.do_fancy_upsampling != FALSE && m_jpeg.scale_num != m_jpeg.scale_denom))
        return 0;
    auto first = static_cast<JDIMENSION>(std::max(needed.begin - kMargin, 0));
    auto width = std::min(static_cast<JDIMENSION>(needed.end + kMargin), m_jpeg.output_width) - first;
    LUMATO_TRY_VOID(Guarded([&] { jpeg_crop_scanline(&m_jpeg, &first, &width); }));
    return static_cast<int>(first);
}

// libjpeg asks its entropy decoder for one MCU after the other. It has asked for none yet.
void JpegDecoder::TakeOverScan() {
    if (!IsLibjpegKnown(m_errors))
        return;
    m_scan =
        JpegScanReader::For(m_jpeg, m_file, m_offset - static_cast<std::int64_t>(m_source.bytes_in_buffer));
    if (!m_scan)
        return;
    m_mcusLeft = std::int64_t{m_jpeg.MCUs_per_row} * m_jpeg.MCU_rows_in_scan;
    if (m_reading == Reading::UsualAhead && OwnSize().Pixels() >= kLeastPixelsForThread) {
        try {
            m_scanAhead = std::make_unique<JpegScanAhead>(*m_scan, m_jpeg);
        } catch (const std::exception&) {  // this thread will do
        }
    }
    m_jpeg.entropy->decode_mcu = [](j_decompress_ptr jpeg, JBLOCKROW* blocks) -> boolean {
        Of(jpeg).ReadMcu(blocks);
        return TRUE;
    };
}

void JpegDecoder::ReadMcu(JBLOCKROW* blocks) {
    m_unusual = !(m_scanAhead ? m_scanAhead->ReadMcu(blocks) : m_scan->ReadMcu(blocks));
    if (!m_unusual && --m_mcusLeft == 0) {
        m_jpeg.unread_marker = m_scan->FinalMarker();
        m_unusual = m_jpeg.unread_marker == 0;
        m_offset = m_scan->OffsetBehindMarker();
        m_source.bytes_in_buffer = 0;
    }
    if (m_unusual)
        Raise(ErrorKind::Damaged, {"ITS_COEFFICIENTS", "broken: its coefficients"});
}

// All scans have been read by now. Where the file ended between two of them, nothing else would tell.
Result<void> JpegDecoder::CheckScans() const {
    if (m_ended)
        return Fail(ErrorKind::Damaged, kCutOff);
    if (m_componentsSeen != (1U << m_jpeg.num_components) - 1)
        return Fail(ErrorKind::Damaged,
                    Phrase(kBroken, Phrase("COLOUR_MISSING", "a colour of the picture is missing")));
    return {};
}

Result<void> JpegDecoder::ReadRow(std::uint8_t* row) {
    return Guarded([&] { jpeg_read_scanlines(&m_jpeg, &row, 1); });
}

Result<void> JpegDecoder::Finish() {
    LUMATO_TRY_VOID(Guarded([this] { jpeg_finish_decompress(&m_jpeg); }));
    // A tail of zeros, as broken-off copies have, decodes as grey until the file ends.
    if (m_ended && m_discarded)
        return Fail(ErrorKind::Damaged, kCutOff);
    return {};
}

}  // namespace lumato::picture
