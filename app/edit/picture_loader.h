// Loads picture files for the edit view beside the main thread. Only what was asked for last arrives, and a
// file that cannot be read to its end keeps nobody waiting.
//
// Main thread only; the outcome arrives there.
#pragma once

#include <QObject>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "app/browser/file_items.h"
#include "app/parts/loose_threads.h"
#include "import/bitmap_info.h"
#include "picture/picture_levels.h"

namespace lumato::app {

struct LoadedPicture {
    ItemID item = kNoItem;  // of the disk browser; none for a file from elsewhere
    Path file;
    Result<std::unique_ptr<picture::BitmapInfo>> picture;
    std::shared_ptr<picture::PictureLevels> levels{};  // of it
};

class PictureLoader : public QObject {
    Q_OBJECT

  public:
    struct Candidate {
        ItemID item = kNoItem;
        Path file;
    };
    using Taker = std::function<void(LoadedPicture)>;

    // `taker` gets each outcome.
    explicit PictureLoader(Taker taker, QObject* parent = nullptr);

    // Loads one file, readable or not.
    void Load(Candidate candidate);
    // Loads the first of these that an importer accepts; nothing arrives when none is.
    void LoadFirstPicture(std::vector<Candidate> candidates);
    // What is still on its way no longer counts.
    void Forget();
    // Something is on its way.
    [[nodiscard]] bool IsLoading() const { return m_underWay == *m_request; }

  signals:
    // IsLoading() may have changed.
    void LoadingChanged();

  private:
    void Start(std::vector<Candidate> candidates, bool passOverOthers);
    void Deliver(int request, std::shared_ptr<LoadedPicture> loaded);

    Taker m_taker;
    LooseThreads m_threads;
    // Of what was asked for last; the threads look whether they are still wanted.
    std::shared_ptr<std::atomic<int>> m_request = std::make_shared<std::atomic<int>>(0);
    int m_underWay = -1;
};

}  // namespace lumato::app
