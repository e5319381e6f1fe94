// The edit controls' logic without a window: the four arrows controls, the Fit-size check box and the
// gestures that move the LCD rectangle.
//
// Used by the thread that owns the edit picture: the main thread, or the worker of a batch.
#pragma once

#include <functional>

#include "import/bitmap_info.h"
#include "picture/fit.h"
#include "store/store_state.h"

namespace lumato::picture {

enum class EditControl { Rotate, Scale, TranslateX, TranslateY, SuitableSize, Fit };

// Why a scale was not taken as it was set: below the percentage that fills the LCD, or at which all of the
// picture is seen on it; above the largest percentage, or the longest side in pixels.
enum class ScaleLimit { FillsLcd, SeenWhole, Percent, Side };

// What the window is told, from whichever thread owns the edit picture.
class EditPort {
  public:
    virtual ~EditPort() = default;
    // The control's value or range has changed: show it.
    virtual void ControlChanged(EditControl control) = 0;
    // The edit view and its LCD rectangle are to be drawn anew.
    virtual void RedrawEditView() = 0;
    // The user's scale was raised or undone, because of `limit`, which is at `value`.
    virtual void ScaleRefused(ScaleLimit /*limit*/, int /*value*/) {}
    // A picture was added from the edit view: move on to the next one in the disk browser.
    virtual void SelectNextPicture() {}
};

// An integer within a range. Whenever its value changes, from code or by the user, its handler runs.
class ArrowsControl {
  public:
    using Handler = void (*)();

    ArrowsControl(EditControl id, int minimum, int maximum, Handler handler);

    [[nodiscard]] int Value() const { return m_value; }
    [[nodiscard]] int Minimum() const { return m_minimum; }
    [[nodiscard]] int Maximum() const { return m_maximum; }

    // Brings `value` into the range; runs the handler if that changes anything.
    void SetValue(int value);
    // Requires: minimum <= maximum. A value left outside is brought in.
    void SetRange(int minimum, int maximum);

    int increment = 1;  // of an arrow; 0 counts as 1

  private:
    EditControl m_id;
    int m_value = 0;
    int m_minimum;
    int m_maximum;
    Handler m_handler;
};

// The handlers of a changed value. Without an edit picture they do nothing.
void MyRotateArrowHandler();
void MyScaleArrowXHandler();
void MyTranslateArrowXHandler();
void MyTranslateArrowYHandler();
// The click on the Fit-size check box, which now stands at `on`.
void MySuitableSizeCheckBoxHandler(bool on);

// A picture's centre moves by at most its scaled size.
void SetOffsetRanges(float scaledWidth, float scaledHeight);

// The user's choice of what fitting means; the picture is fitted so, as it is turned.
void SetFit(Fit fit);
// Turns the picture by so many degrees; one that was fitted still is.
void TurnPicture(int degrees);
// As the picture was when it was selected.
void ResetPose();

// What a fitted picture may be scaled to: at most so many percent, and neither side above so many pixels.
// An LCD that is larger than the canvas would leave no room between the fit and the limit: there it is twice
// the LCD's longer side.
inline constexpr int kLargestScaleValue = 999;
inline constexpr float kLargestScaledSide = 800;
[[nodiscard]] float LargestScaledSide(float lcdWidth, float lcdHeight);
// Of the edit picture as it now is, in percent; never below the smallest value.
[[nodiscard]] int LargestScaleNow();

inline constexpr int kUpArrowPart = 20;
inline constexpr int kDownArrowPart = 21;
// One step of a held arrow; runs on at the other end of the range.
void LittleArrowsControlAction(ArrowsControl& control, int part);

struct EditControls {
    ArrowsControl rotate{EditControl::Rotate, -3600, 3600, MyRotateArrowHandler};
    ArrowsControl scale{EditControl::Scale, 0, 1000, MyScaleArrowXHandler};
    // A picture brings its own ranges.
    ArrowsControl translateX{EditControl::TranslateX, -1000, 1000, MyTranslateArrowXHandler};
    ArrowsControl translateY{EditControl::TranslateY, -1000, 1000, MyTranslateArrowYHandler};
};

// The LCD rectangle centred on the canvas.
[[nodiscard]] store::Rect RestingRect(float lcdWidth, float lcdHeight);
// The same area with its corner at the top left; width and height stay as they are.
[[nodiscard]] store::Rect WithTopLeftCorner(store::Rect rect);

struct CanvasPoint {
    float x = 0, y = 0;
};

// A gesture on the LCD rectangle, from the press to the release; in canvas coordinates.
struct RectGesture {
    bool gNeedRefreshRect = false;   // true: the rectangle is moved, false: a new one is placed
    CanvasPoint gCurrentBeginPoint;  // of the pointer, counted from the moved rectangle's corner
};

// A press strictly inside moves the rectangle; anywhere else, its border included, places a new one.
[[nodiscard]] RectGesture PressRect(store::Rect& rect, CanvasPoint at, float lcdWidth, float lcdHeight);
void TrackRect(store::Rect& rect, const RectGesture& gesture, CanvasPoint at, float lcdWidth);
// Back to the LCD's size, towards the side that the pointer was dragged to.
void ReleaseRect(store::Rect& rect, RectGesture& gesture, float lcdWidth, float lcdHeight);

}  // namespace lumato::picture
