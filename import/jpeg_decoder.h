// libjpeg behind an interface without jumps: its errors as values, its warnings sorted into harmless ones and
// damage, its input from a file, its coefficient storage bounded.
//
// One picture per object, one thread at a time.
#pragma once

#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include <jpeglib.h>

#include "import/colour.h"
#include "import/held_size.h"
#include "import/jpeg_coefficients.h"
#include "import/jpeg_scan_ahead.h"
#include "import/jpeg_scan_reader.h"
#include "import/messages.h"
#include "import/picture_file.h"
#include "import/row_taker.h"

namespace lumato::picture {

class JpegDecoder {
  public:
    // Who reads the coefficients of the scan. Usual: JpegScanReader, if it can; UsualAhead: on a thread of
    // its own, if the picture is large. Any: libjpeg, which knows all codings, and what is wrong with broken
    // ones.
    enum class Reading { Usual, UsualAhead, Any };

    // Requires: the file outlives the decoder.
    JpegDecoder(const PictureFile& file, Reading reading);
    ~JpegDecoder();
    JpegDecoder(const JpegDecoder&) = delete;
    JpegDecoder& operator=(const JpegDecoder&) = delete;

    // First of all calls. Errors: as ImportJpeg.
    [[nodiscard]] Result<void> ReadHeader();

    [[nodiscard]] Size OwnSize() const;
    [[nodiscard]] PixelLayout Layout() const { return m_layout; }
    // The Exif block and the colour profile; empty when the file has none (or a broken one). Valid while the
    // decoder lives.
    [[nodiscard]] ByteSpan Exif() const;
    [[nodiscard]] std::vector<std::uint8_t> Profile();
    // After Profile(): parts of it are missing.
    [[nodiscard]] bool IsProfileBroken() const { return m_profileBroken; }

    // Decoding is to be to eighths/8 of the own size, of which less than 7 eighths are needed if `rough`;
    // returns the size that comes out.
    [[nodiscard]] Result<Size> Scale(int eighths, bool rough = false);
    // What it will keep, in bytes: the coefficients of several scans are there all at once. After Scale().
    [[nodiscard]] std::int64_t Memory() const;
    // After Scale(). `asHeld`: rows come as BitmapInfo holds them instead of in Layout(), which is Rgb.
    [[nodiscard]] Result<void> Start(bool asHeld = false);
    // After Start(), before the first row: others than `needed` may be left out of all rows. Returns the
    // column with which they begin from now on. What is not left out is as it would be without this.
    [[nodiscard]] Result<int> LeaveOut(Columns needed);
    // The next row.
    [[nodiscard]] Result<void> ReadRow(std::uint8_t* row);
    // After the last row: what follows must end the picture properly.
    [[nodiscard]] Result<void> Finish();

    // After an error: the file is not what JpegScanReader knows, and must be read anew with Reading::Any.
    [[nodiscard]] bool IsUnusual() const { return m_unusual; }
    // After Start().
    [[nodiscard]] bool HasScanReader() const { return m_scan != nullptr; }

  private:
    // libjpeg hands its error manager back in every call; this one knows whose it is.
    struct ErrorManager : jpeg_error_mgr {
        JpegDecoder* decoder = nullptr;
    };

    template <class Step>
    Result<void> Guarded(Step step);
    [[noreturn]] void Raise(ErrorKind kind, const Words& reason);

    Result<void> ChooseLayout();
    Result<void> CheckCompressedSize() const;
    Result<void> CheckScans() const;
    void SetUpSource();
    void TakeOverScan();
    void ReadMcu(JBLOCKROW* blocks);
    void WatchScans();
    bool Fill();
    void Skip(long count);
    void OnError();
    void OnMessage(int level);

    static JpegDecoder& Of(j_common_ptr common);
    static JpegDecoder& Of(j_decompress_ptr decompress);

    const PictureFile& m_file;
    jpeg_decompress_struct m_jpeg{};
    ErrorManager m_errors;
    jpeg_source_mgr m_source{};
    jpeg_progress_mgr m_progress{};
    std::jmp_buf m_jump{};
    Error m_error;
    Error m_noMemory{ErrorKind::TooLarge, kBeyondMemory};  // made while there is some
    JpegCoefficients m_coefficients;
    std::vector<std::uint8_t> m_buffer;
    std::int64_t m_offset = 0;
    std::unique_ptr<JpegScanReader> m_scan;      // none where libjpeg reads
    std::unique_ptr<JpegScanAhead> m_scanAhead;  // none where it reads in this thread
    std::int64_t m_mcusLeft = 0;
    PixelLayout m_layout = PixelLayout::Rgb;
    unsigned m_componentsSeen = 0;
    const Reading m_reading;
    bool m_unusual = false;
    bool m_inHeader = true;
    bool m_profileBroken = false;
    bool m_ended = false;      // the file's end was reached before the picture's
    bool m_discarded = false;  // bytes that belong to nothing were skipped
};

}  // namespace lumato::picture
