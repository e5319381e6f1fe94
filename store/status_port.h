// What the store and the picture room tell people while they work. The window implements it with its
// controls, the command line with the terminal, tests with a recorder.
//
// Every call is legal from any thread.
#pragma once

#include "base/phrase.h"
#include "store/progress.h"

namespace lumato::store {

class StatusPort {
  public:
    virtual ~StatusPort() = default;

    // The status note; whoever shows it puts it into the user's language.
    virtual void SetNotes(const Phrase& note) = 0;
    // Why the last note was shown, in plain words for people ("photo.jpg: not a picture"); shown beside or
    // below it.
    virtual void SetNoteDetail(const Phrase&) {}
    // The progress bar; the implementation limits the value to 0..100.
    virtual void SetDownLoadPrcess(int percent) = 0;
    // What lies behind that number.
    virtual void SetProgress(const Progress&) {}
    // The number fields are to be shown anew.
    virtual void UpdateInfo() = 0;
    virtual void SetControlPanlEnable(bool enable) = 0;
    // Posts the refresh event to the main thread, which enables the panel and resets the progress bar.
    virtual void InvalidateMyWindow() = 0;

    // The frame picture list now holds the items 1 to `count`; `selected` (0 for none) becomes the only
    // selection.
    virtual void ShowPictureList(int count, int selected) = 0;
    // The edit view, its LCD rectangle or the preview is to be drawn anew.
    virtual void RedrawPictures() {}
};

}  // namespace lumato::store
