// The window's controls by name: each is found by its {signature, id}, two properties that the interface
// description "main" gives it.
//
// Main thread only.
#pragma once

#include <QWidget>
#include <cstdint>

namespace lumato::app {

// Beside the progress; not one of the panel's controls, which rest while it is of use.
inline constexpr const char* kStopButton = "stopButton";
inline constexpr const char* kBatchReportButton = "batchReport";

// Four characters, the first in the most significant byte.
using FourCharCode = std::uint32_t;

constexpr FourCharCode Code(const char (&text)[5]) {
    FourCharCode code = 0;
    for (int i = 0; i < 4; ++i)
        code = code << 8 | static_cast<unsigned char>(text[i]);
    return code;
}

struct ControlId {
    FourCharCode signature = 0;
    std::int32_t id = 0;
    bool operator==(const ControlId&) const = default;
};

inline constexpr ControlId kScaleArrowXID{Code("scal"), 1};
inline constexpr ControlId kSuitableSizeID{Code("suts"), 0};
inline constexpr ControlId FitSizeForLCDControlID = kSuitableSizeID;
inline constexpr ControlId kTranlateArrowXID{Code("trns"), 10};  // "Tranlate" is translate
inline constexpr ControlId kTranlateArrowYID{Code("trns"), 11};
inline constexpr ControlId kRotateArrowID{Code("rota"), 0};
inline constexpr ControlId kColumList{Code("CLVW"), 0};  // "Colum" is column
inline constexpr ControlId dbControlID1{Code("pict"), 0};
inline constexpr ControlId kAddButtonID{Code("slet"), 0};
inline constexpr ControlId AddControlID = kAddButtonID;
inline constexpr ControlId kDelButtonID{Code("delp"), 0};
inline constexpr ControlId DeleteControlID = kDelButtonID;
inline constexpr ControlId kUpLoadButtnonID{Code("upld"), 0};  // "Buttnon" is button
inline constexpr ControlId SaveAllControlID = kUpLoadButtnonID;
inline constexpr ControlId kDownLoadButtonID{Code("load"), 0};
inline constexpr ControlId DownloadControlID = kDownLoadButtonID;
inline constexpr ControlId kOpenButtonID{Code("open"), 0};
inline constexpr ControlId kDeleteAllCheckBoxID{Code("dela"), 0};
inline constexpr ControlId DeleteAllControlID = kDeleteAllCheckBoxID;
inline constexpr ControlId kDownLoadProcessID{Code("dnpr"), 0};
inline constexpr ControlId myHIViewID{Code("mVue"), 130};
inline constexpr ControlId myHIRectID{Code("rect"), 130};
inline constexpr ControlId myHIPreviewID{Code("prev"), 0};
inline constexpr ControlId RotateControlID{Code("rote"), 0};
inline constexpr ControlId ScaleControlID{Code("scle"), 0};
inline constexpr ControlId TranslateXControlID{Code("trax"), 0};
inline constexpr ControlId TranslateYControlID{Code("tray"), 0};
inline constexpr ControlId TotalControlID{Code("TOTA"), 0};
inline constexpr ControlId CurrentControlID{Code("CURR"), 0};
inline constexpr ControlId kTotalPic{Code("TOPI"), 0};
inline constexpr ControlId kCurPic{Code("CUPI"), 0};
inline constexpr ControlId NoticeControlID{Code("noti"), 0};
inline constexpr ControlId kNotesID{Code("devl"), 0};

// The control below `root`, or null.
[[nodiscard]] QWidget* FindControl(QWidget* root, ControlId id);

// The same as the kind that the caller needs; null when it is of another.
template <class Control>
[[nodiscard]] Control* FindControlAs(QWidget* root, ControlId id) {
    return qobject_cast<Control*>(FindControl(root, id));
}

}  // namespace lumato::app
