#include "app/edit/picture_loader.h"

#include <algorithm>
#include <new>
#include <tuple>
#include <utility>

#include "import/import.h"
#include "import/messages.h"
#include "picture/add_pictures.h"
#include "picture/picture_levels.h"
#include "store/store_state.h"

namespace lumato::app {
namespace {

// Those that a turn needs, here where nobody waits: its first step is as quick as the others then.
void MakeLevels(LoadedPicture& loaded) {
    constexpr int kLevels = 4;  // smaller ones take no time
    if (!loaded.picture)
        return;
    loaded.levels = std::make_shared<picture::PictureLevels>(**loaded.picture);
    std::ignore = loaded.levels->At(kLevels);
}

void Read(LoadedPicture& loaded, float lcdWidth, float lcdHeight) {
    try {
        loaded.picture = picture::ImportForEditView(loaded.file, lcdWidth, lcdHeight);
        MakeLevels(loaded);
    } catch (const std::bad_alloc&) {
        loaded.levels.reset();  // they borrow the picture
        loaded.picture = Fail(ErrorKind::TooLarge, picture::kBeyondMemory);
    }
}

// One, and the next one beside what is no longer wanted.
constexpr int kLoadsAtOnce = 2;
// Who pages through huge photographs leaves slow ones behind, each with its memory.
constexpr int kMostLoads = 3;

}  // namespace

PictureLoader::PictureLoader(Taker taker, QObject* parent)
    : QObject(parent),
      m_taker(std::move(taker)),
      m_threads(kLoadsAtOnce, std::chrono::seconds(1), kMostLoads) {}

void PictureLoader::Load(Candidate candidate) {
    Start({std::move(candidate)}, false);
}

void PictureLoader::LoadFirstPicture(std::vector<Candidate> candidates) {
    Start(std::move(candidates), true);
}

void PictureLoader::Forget() {
    ++*m_request;
    emit LoadingChanged();
}

void PictureLoader::Start(std::vector<Candidate> candidates, bool passOverOthers) {
    const int request = ++*m_request;
    m_underWay = request;
    emit LoadingChanged();
    const float lcdWidth = store::Store().gmyLcdWidth;
    const float lcdHeight = store::Store().gmyLcdHeight;
    m_threads.Clear();  // those that have not begun
    m_threads.Start([this, request, current = m_request, passOverOthers, lcdWidth, lcdHeight,
                     candidates = std::move(candidates)]() -> LooseThreads::Outcome {
        const auto wanted = std::ranges::find_if(candidates, [&](const Candidate& candidate) {
            return *current != request || !passOverOthers || picture::IsPicture(candidate.file);
        });
        std::shared_ptr<LoadedPicture> loaded;
        if (wanted != candidates.end() && *current == request) {
            loaded = std::make_shared<LoadedPicture>(LoadedPicture{wanted->item, wanted->file, {}});
            Read(*loaded, lcdWidth, lcdHeight);
        }
        return [this, request, loaded] { Deliver(request, loaded); };
    });
}

void PictureLoader::Deliver(int request, std::shared_ptr<LoadedPicture> loaded) {
    if (request != *m_request)
        return;
    m_underWay = -1;
    emit LoadingChanged();
    if (loaded != nullptr)
        m_taker(std::move(*loaded));
}

}  // namespace lumato::app
