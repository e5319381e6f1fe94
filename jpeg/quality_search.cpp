#include "jpeg/quality_search.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "jpeg/bounded_encoding.h"
#include "jpeg/codec_form.h"
#include "jpeg/picture_sample.h"

namespace lumato::jpeg {
namespace {

// Sizes of streams that can be larger might not fit an int; those are left to the encoder's own check.
constexpr std::size_t kLargestSearch = std::size_t{1} << 30;

std::vector<int> QualitiesFrom(int start, int step) {
    std::vector<int> qualities{start};
    while (qualities.back() - step > 0)
        qualities.push_back(qualities.back() - step);
    return qualities;
}

}  // namespace

// What samples say of the sizes.
class QualitySearch::Forecast {
  public:
    explicit Forecast(const QualitySearch& search)
        : m_search(search),
          m_forMcus(search.m_budget - static_cast<double>(SizeBeforeMcus(search.m_grid, search.m_mode))),
          m_sizes(search.m_qualities.size()) {
        TakeSample(PictureSample::Which::First);
    }

    // The index of the quality that will probably be the one.
    std::size_t Guess() {
        if (IsBlind())
            return 0;
        std::size_t index = Bracket();
        if (IsClose(index) || (index > 0 && IsClose(index - 1))) {
            TakeSample(PictureSample::Which::Second);
            while (index > 0 && Fits(index - 1))
                --index;
            while (index + 1 < m_sizes.size() && !Fits(index))
                ++index;
        }
        return index;
    }

    // How much of the picture has to be counted at the next higher quality than that of the index.
    BoundedEncoding::Ahead AheadOf(std::size_t index) {
        if (index == 0 || IsBlind())
            return {};
        constexpr double kMargin = 0.06;
        const double size = SizeAt(index);
        const double step = std::max(SizeAt(index - 1) - size, 1.0);
        return {m_search.m_qualities[index - 1], std::clamp((m_forMcus - size) / step + kMargin, 0.0, 1.0)};
    }

  private:
    void TakeSample(PictureSample::Which which) {
        PictureSample sample(m_search.m_source, m_search.m_mode, which);
        if (!sample.IsEmpty())
            m_samples.push_back(std::move(sample));
    }
    [[nodiscard]] bool IsBlind() const { return m_samples.empty(); }

    // The first index whose size fits. Where to look next follows from where we are: sizes fall about with
    // this power of the divisors' scale.
    std::size_t Bracket() {
        constexpr double kSteepness = 0.75;
        std::size_t first = 0;
        std::size_t last = m_sizes.size() - 1;
        for (std::size_t index = last / 2; first < last;) {
            if (Fits(index))
                last = index;
            else
                first = index + 1;
            const double scale = ScaleFactorOf(m_search.m_qualities[index]) *
                                 std::pow(SizeAt(index) / m_forMcus, 1 / kSteepness);
            const auto isFine = [scale](int quality) { return ScaleFactorOf(quality) < scale; };
            const auto found =
                std::find_if_not(m_search.m_qualities.begin(), m_search.m_qualities.end(), isFine);
            index = static_cast<std::size_t>(found - m_search.m_qualities.begin());
            index = std::clamp(index, first, std::max(first + 1, last) - 1);
        }
        return first;
    }
    bool Fits(std::size_t index) { return SizeAt(index) <= m_forMcus; }
    // A second sample decides where the first may err.
    bool IsClose(std::size_t index) {
        constexpr double kError = 0.045;
        return std::abs(SizeAt(index) / m_forMcus - 1) < kError;
    }

    // Of the MCUs: the samples' mean.
    double SizeAt(std::size_t index) {
        std::vector<double>& sizes = m_sizes[index];
        if (sizes.size() < m_samples.size()) {
            const CVaskJpegEncoder encoder(m_search.m_qualities[index]);
            for (std::size_t sample = sizes.size(); sample < m_samples.size(); ++sample)
                sizes.push_back(m_samples[sample].MeasureWith(encoder.FastCodings()));
        }
        return std::accumulate(sizes.begin(), sizes.end(), 0.0) / static_cast<double>(sizes.size());
    }

    const QualitySearch& m_search;
    double m_forMcus;  // the budget
    std::vector<PictureSample> m_samples;
    std::vector<std::vector<double>> m_sizes;  // by index: as far as measured, by sample
};

QualitySearch::QualitySearch(const std::uint8_t* pixels, std::uint8_t* destination, int width, int height,
                             int mode)
    : m_source{pixels, width, height}, m_destination(destination), m_mode(mode) {
    if (MaximumStreamSize(width, height, mode) != 0)
        m_grid = GridOf(width, height, mode);
}

std::optional<QualitySearch::Outcome> QualitySearch::Run(int start, int step, int budget) {
    m_qualities = QualitiesFrom(start, step);
    m_budget = budget;
    const std::size_t largest = MaximumStreamSize(m_source.width, m_source.height, m_mode);
    const bool canSearch = m_source.pixels != nullptr && m_destination != nullptr && largest != 0 &&
                           largest <= kLargestSearch && budget > 0 && start <= kLargestSide;
    return UsesVectors() && canSearch && m_qualities.size() > 1 ? RunByForecast() : RunPlainly();
}

std::optional<QualitySearch::Outcome> QualitySearch::RunPlainly() const {
    std::optional<Outcome> outcome;
    for (const int quality : m_qualities) {
        outcome = EncodeAt(quality);
        if (!outcome || outcome->fits)
            break;
    }
    return outcome;
}

std::optional<QualitySearch::Outcome> QualitySearch::EncodeAt(int quality) const {
    int size = 0;
    if (!CVaskJpegEncoder(quality).CompressImage(m_source.pixels, m_destination, m_source.width,
                                                 m_source.height, size, m_mode))
        return std::nullopt;
    return Outcome{quality, size, size <= m_budget};
}

// Upwards only to a quality that is known to fit, downwards only from one that does not: this ends.
std::optional<QualitySearch::Outcome> QualitySearch::RunByForecast() const {
    Forecast forecast(*this);
    BoundedEncoding encoding(m_source, m_destination, m_mode, static_cast<std::size_t>(m_budget));
    std::size_t tooHigh = m_qualities.size();  // an index; none yet
    for (std::size_t index = forecast.Guess(); index < m_qualities.size();) {
        const bool isCertain = index == tooHigh + 1;
        const auto size = encoding.Encode(m_qualities[index],
                                          isCertain ? BoundedEncoding::Ahead{} : forecast.AheadOf(index));
        if (!size) {
            tooHigh = index++;
            continue;
        }
        std::size_t higher = isCertain ? tooHigh : index;
        while (higher > 0 && !encoding.Fits(m_qualities[higher - 1]))
            --higher;
        if (higher == 0)
            return Outcome{m_qualities[index], static_cast<int>(*size), true};
        index = higher - 1;
    }
    return EncodeAt(m_qualities.back());
}

}  // namespace lumato::jpeg
