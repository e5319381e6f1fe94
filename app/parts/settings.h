// What the window remembers from one start to the next: its place and its folders, in "window.ini" of the
// state folder. What cannot be read or written is forgotten without a word.
//
// Main thread only.
#pragma once

#include <QSettings>

#include "base/file.h"

namespace lumato::app {

class Settings {
  public:
    explicit Settings(const Path& stateFolder);

    [[nodiscard]] QByteArray Bytes(const char* name) const;
    void SetBytes(const char* name, const QByteArray& value);
    // The user's own folder until another one is set.
    [[nodiscard]] Path Folder(const char* name) const;
    void SetFolder(const char* name, const Path& folder);

  private:
    QSettings m_file;
};

inline constexpr const char* kGeometrySetting = "geometry";
inline constexpr const char* kPanesSetting = "panes";
inline constexpr const char* kBrowserFolderSetting = "browserFolder";
inline constexpr const char* kBrowserViewSetting = "browserView";    // "columns", or a grid
inline constexpr const char* kBrowserOrderSetting = "browserOrder";  // "newest", or by name
inline constexpr const char* kSaveFolderSetting = "saveFolder";
inline constexpr const char* kFrameFolderSetting = "frameFolder";
inline constexpr const char* kCheckSetting = "checkDownloads";  // "1": each is read back

}  // namespace lumato::app
