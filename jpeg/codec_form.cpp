#include "jpeg/codec_form.h"

#include <algorithm>
#include <atomic>

#include <hwy/highway.h>
#include <hwy/targets.h>

namespace lumato::jpeg {
namespace {

constexpr std::string_view kPlain = "plain";

std::atomic<bool> isPlainForced{false};

// What has no vectors is left to the plain form.
constexpr bool HasNoVectors(std::int64_t target) {
    return target == HWY_EMU128 || target == HWY_SCALAR;
}

std::vector<std::int64_t> RunnableTargets() {
    hwy::SetSupportedTargetsForTest(0);
    std::vector<std::int64_t> targets = hwy::SupportedAndGeneratedTargets();
    targets.erase(std::remove_if(targets.begin(), targets.end(), HasNoVectors), targets.end());
    return targets;
}

void Choose(std::int64_t targets) {
    hwy::SetSupportedTargetsForTest(targets);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

}  // namespace

std::vector<std::string> CodecForms() {
    std::vector<std::string> forms;
    for (const std::int64_t target : RunnableTargets())
        forms.emplace_back(hwy::TargetName(target));
    forms.emplace_back(kPlain);
    Choose(0);
    return forms;
}

bool UseCodecForm(std::string_view name) {
    if (name.empty() || name == kPlain) {
        Choose(0);
        isPlainForced = name == kPlain;
        return true;
    }
    for (const std::int64_t target : RunnableTargets()) {
        if (name == hwy::TargetName(target)) {
            // With all lesser ones, for loops that do not know this one. Better ones have lower bits.
            Choose(hwy::SupportedTargets() & ~(target - 1));
            isPlainForced = false;
            return true;
        }
    }
    return false;
}

bool UsesVectors() {
    static const bool hasVectors = !RunnableTargets().empty();
    return hasVectors && !isPlainForced;
}

}  // namespace lumato::jpeg
