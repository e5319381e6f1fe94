#include <optional>
#include <string>

#include "import/import.h"
#include "picture/add_pictures.h"
#include "picture/bitmap_file.h"
#include "picture/draw_my_image.h"
#include "picture/picture_placement.h"
#include "picture/strip_painter.h"

namespace lumato::picture {
namespace {

// More than any display of a frame has. A picture takes 15 bytes of memory for each on its way into the list.
constexpr double kMostLcdPixels = 1 << 23;

// The pixels of an LCD, black at first.
class LcdSurface {
  public:
    LcdSurface(int width, int height) : m_width(width), m_height(height) { Clear(); }

    void Clear() {
        m_pixels.assign(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height) * 4, 0);
    }
    [[nodiscard]] Surface Get() {
        return {.pixels = m_pixels.data(),
                .width = m_width,
                .height = m_height,
                .bytesPerRow = static_cast<std::size_t>(m_width) * 4,
                .rows = RowOrder::BottomFirst};
    }
    [[nodiscard]] std::vector<std::uint8_t> BlueGreenRed() const {
        std::vector<std::uint8_t> converted(m_pixels.size() / 4 * 3);
        for (std::size_t i = 0; i * 4 < m_pixels.size(); ++i) {
            converted[i * 3] = m_pixels[i * 4 + 3];
            converted[i * 3 + 1] = m_pixels[i * 4 + 2];
            converted[i * 3 + 2] = m_pixels[i * 4 + 1];
        }
        return converted;
    }

  private:
    int m_width;
    int m_height;
    std::vector<std::uint8_t> m_pixels;
};

// Composes the fitted picture while its rows come.
class FittedComposer : public RowTaker {
  public:
    FittedComposer(int lcdWidth, int lcdHeight)
        : m_rect(RestingRect(static_cast<float>(lcdWidth), static_cast<float>(lcdHeight))),
          m_lcd(lcdWidth, lcdHeight) {}

    void Begin(const BitmapInfo& info) override {
        m_lcd.Clear();
        const Surface surface = m_lcd.Get();
        const auto placement = PlacementOf(surface, m_rect.x, m_rect.y, m_rect.width, m_rect.height,
                                           FittedImage(info, m_rect.width, m_rect.height), false);
        m_strip.emplace(
            StraightPainter(surface, info.heldWidth, info.heldHeight, placement.value_or(PicturePlacement())),
            info.heldHeight, info.bytesPerRow);
    }
    [[nodiscard]] Columns Needed() const override { return m_strip->Needed(); }
    std::uint8_t* NextRow() override { return m_strip->NextRow(); }

    // The picture is complete: all rows were taken.
    [[nodiscard]] std::vector<std::uint8_t> Finish() {
        m_strip->Finish();
        return m_lcd.BlueGreenRed();
    }

  private:
    store::Rect m_rect;
    LcdSurface m_lcd;
    std::optional<StripPainter> m_strip;
};

}  // namespace

Result<void> CheckLcdSize(int width, int height) {
    if (width >= 1 && height >= 1 && static_cast<double>(width) * height <= kMostLcdPixels)
        return {};
    return Fail(ErrorKind::TooLarge,
                Phrase("LCD_BEYOND_PICTURES", "no picture can be made for an LCD of {0} x {1} pixels", width,
                       height));
}

Result<std::vector<std::uint8_t>> RenderLcdBitmap(const store::Rect& rect) {
    const store::StoreState& store = store::Store();
    return RenderLcdBitmap(rect, Pictures().gmyCGimage.get(), static_cast<int>(store.gmyLcdWidth),
                           static_cast<int>(store.gmyLcdHeight));
}

Result<std::vector<std::uint8_t>> RenderLcdBitmap(const store::Rect& rect, const MyImage* image, int lcdWidth,
                                                  int lcdHeight, const IsWanted& isWanted) {
    LUMATO_TRY_VOID(CheckLcdSize(lcdWidth, lcdHeight));
    LcdSurface lcd(lcdWidth, lcdHeight);
    DrawMyImage(lcd.Get(), rect.x, rect.y, rect.width, rect.height, image, false, isWanted);
    if (isWanted && !isWanted())
        return Fail(ErrorKind::Gone, {});
    return lcd.BlueGreenRed();
}

Result<std::vector<std::uint8_t>> ComposeFitted(const Path& file, int lcdWidth, int lcdHeight,
                                                Processors processors, Phrase* note) {
    LUMATO_TRY_VOID(CheckLcdSize(lcdWidth, lcdHeight));
    FittedComposer composer(lcdWidth, lcdHeight);
    BitmapInfo info;
    LUMATO_TRY_VOID(CreateMyImage(file, false,
                                  LargestScale(static_cast<float>(lcdWidth), static_cast<float>(lcdHeight)),
                                  info, processors, Held::AsStored, &composer));
    if (note != nullptr)
        *note = std::move(info.note);
    return composer.Finish();
}

Result<Phrase> ComposeFile(const Path& picture, int lcdWidth, int lcdHeight, const Pose& pose,
                           const Path& bitmap) {
    LUMATO_TRY_VOID(CheckLcdSize(lcdWidth, lcdHeight));
    if (pose.IsFitted()) {
        Phrase note;
        Result<std::vector<std::uint8_t>> pixels =
            ComposeFitted(picture, lcdWidth, lcdHeight, Processors::All, &note);
        if (!pixels)
            LUMATO_TRY_VOID(SelectImported(picture, tl::unexpected(pixels.error())));
        LUMATO_TRY_VOID(SaveBmpFile(*pixels, lcdWidth, lcdHeight, bitmap, Links::Follow));
        return note;
    }
    store::StoreState& store = store::Store();
    store.gmyLcdWidth = static_cast<float>(lcdWidth);
    store.gmyLcdHeight = static_cast<float>(lcdHeight);
    LUMATO_TRY_VOID(SelectOnePicture(picture, false));
    ApplyPose(pose);
    LUMATO_TRY(const auto pixels, RenderLcdBitmap(WithTopLeftCorner(store.gmyDrawrect)));
    LUMATO_TRY_VOID(SaveBmpFile(pixels, lcdWidth, lcdHeight, bitmap, Links::Follow));
    return Pictures().gmyCGimagebi->note;
}

}  // namespace lumato::picture
