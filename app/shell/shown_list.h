// What the window shows of the store's list: taken by the thread that owns the store, shown by the main
// thread.
#pragma once

#include <QList>
#include <set>

#include "app/list/listed_picture.h"
#include "base/file.h"

class QMainWindow;

namespace lumato::app {

struct ShownList {
    QList<ListedPicture> pictures;
    std::set<Path> origins;  // the files that they were made from, as far as they are known

    // In the list, with this position selected (0: none), and as marks in the browser. Main thread only.
    void ShowIn(QMainWindow& window, int selected) const;
};

// The first `count` of the store's list. Requires: the caller owns the store.
[[nodiscard]] ShownList TakeShownList(int count);

}  // namespace lumato::app
