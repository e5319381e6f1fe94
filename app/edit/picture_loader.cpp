#include "app/edit/picture_loader.h"

#include <algorithm>
#include <utility>

#include "picture/add_pictures.h"
#include "picture/import.h"
#include "store/store_state.h"

namespace lumato::app {

PictureLoader::PictureLoader(Taker taker, QObject* parent) : QObject(parent), m_taker(std::move(taker)) {}

PictureLoader::~PictureLoader() {
    ++m_request;
    m_reader.Clear();
    m_reader.Wait();
}

void PictureLoader::Load(Candidate candidate) {
    Start({std::move(candidate)}, false);
}

void PictureLoader::LoadFirstPicture(std::vector<Candidate> candidates) {
    Start(std::move(candidates), true);
}

void PictureLoader::Forget() {
    ++m_request;
    emit LoadingChanged();
}

void PictureLoader::Start(std::vector<Candidate> candidates, bool passOverOthers) {
    const int request = ++m_request;
    m_underWay = request;
    emit LoadingChanged();
    const float lcdWidth = store::Store().gmyLcdWidth;
    const float lcdHeight = store::Store().gmyLcdHeight;
    m_reader.Clear();  // those that have not begun
    m_reader.Start([this, request, passOverOthers, lcdWidth, lcdHeight, candidates = std::move(candidates)] {
        const auto wanted = std::ranges::find_if(candidates, [&](const Candidate& candidate) {
            return m_request != request || !passOverOthers || picture::IsPicture(candidate.file);
        });
        std::shared_ptr<LoadedPicture> loaded;
        if (wanted != candidates.end() && m_request == request)
            loaded = std::make_shared<LoadedPicture>(LoadedPicture{
                wanted->item, wanted->file, picture::ImportForEditView(wanted->file, lcdWidth, lcdHeight)});
        m_calls.Post([this, request, loaded] { Deliver(request, loaded); });
    });
}

void PictureLoader::Deliver(int request, std::shared_ptr<LoadedPicture> loaded) {
    if (request != m_request)
        return;
    m_underWay = -1;
    emit LoadingChanged();
    if (loaded != nullptr)
        m_taker(std::move(*loaded));
}

}  // namespace lumato::app
