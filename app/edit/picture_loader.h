// Loads picture files for the edit view beside the main thread. Only what was asked for last arrives.
//
// Main thread only; the outcome arrives there.
#pragma once

#include <QObject>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "app/browser/file_items.h"
#include "app/parts/main_thread_calls.h"
#include "app/parts/reader_thread.h"
#include "picture/bitmap_info.h"

namespace lumato::app {

struct LoadedPicture {
    ItemID item = kNoItem;  // of the disk browser; none for a file from elsewhere
    Path file;
    Result<std::unique_ptr<picture::BitmapInfo>> picture;
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
    ~PictureLoader() override;

    // Loads one file, readable or not.
    void Load(Candidate candidate);
    // Loads the first of these that an importer accepts; nothing arrives when none is.
    void LoadFirstPicture(std::vector<Candidate> candidates);
    // What is still on its way no longer counts.
    void Forget();
    // Something is on its way.
    [[nodiscard]] bool IsLoading() const { return m_underWay == m_request; }

  signals:
    // IsLoading() may have changed.
    void LoadingChanged();

  private:
    void Start(std::vector<Candidate> candidates, bool passOverOthers);
    void Deliver(int request, std::shared_ptr<LoadedPicture> loaded);

    Taker m_taker;
    MainThreadCalls m_calls;
    ReaderThread m_reader;
    std::atomic<int> m_request = 0;
    int m_underWay = -1;
};

}  // namespace lumato::app
