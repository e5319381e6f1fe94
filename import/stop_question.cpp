#include "import/stop_question.h"

namespace lumato::picture {

static thread_local bool (*s_isStopped)() = nullptr;

StopQuestion::StopQuestion(bool (*isStopped)()) {
    s_isStopped = isStopped;
}

StopQuestion::~StopQuestion() {
    s_isStopped = nullptr;
}

bool StopQuestion::IsStopped() {
    return s_isStopped != nullptr && s_isStopped();
}

}  // namespace lumato::picture
