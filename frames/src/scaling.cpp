#include <algorithm>
#include <cmath>
#include <cstddef>

#include "picture.h"

namespace frames {
namespace {

/// The source pixels that make up a pixel: weights from `first` on, whose sum is 1.
struct Mix {
    std::size_t first;
    std::vector<double> weights;
};

// The area of the source that falls onto the pixel.
Mix boxMix(std::size_t place, double ratio, std::size_t source) {
    const double start = static_cast<double>(place) * ratio;
    const double end = start + ratio;
    Mix mix{std::min(static_cast<std::size_t>(start), source - 1), {}};
    for (std::size_t at = mix.first; at < source && static_cast<double>(at) < end; ++at) {
        const double share = std::min(end, static_cast<double>(at) + 1) - std::max(start, static_cast<double>(at));
        mix.weights.push_back(share / ratio);
    }
    return mix;
}

// The two neighbours of the pixel's centre; beyond the outermost centres only the outermost pixel.
Mix linearMix(std::size_t place, double ratio, std::size_t source) {
    const double last = static_cast<double>(source - 1);
    const double centre = std::clamp((static_cast<double>(place) + 0.5) * ratio - 0.5, 0.0, last);
    const auto first = static_cast<std::size_t>(centre);
    if (first + 1 >= source) return {first, {1.0}};
    const double right = centre - static_cast<double>(first);
    return {first, {1.0 - right, right}};
}

std::vector<Mix> mixes(std::size_t source, std::size_t target) {
    const double ratio = static_cast<double>(source) / static_cast<double>(target);
    std::vector<Mix> all;
    all.reserve(target);
    for (std::size_t place = 0; place < target; ++place)
        all.push_back(ratio >= 1 ? boxMix(place, ratio, source) : linearMix(place, ratio, source));
    return all;
}

// One line, in the new width.
std::vector<double> acrossLine(const Picture& picture, std::size_t y, const std::vector<Mix>& across) {
    const std::size_t channels = picture.channels;
    const std::uint16_t* const line = picture.samples.data() + y * picture.width * channels;
    std::vector<double> mixed(across.size() * channels);
    for (std::size_t x = 0; x < across.size(); ++x) {
        for (std::size_t k = 0; k < across[x].weights.size(); ++k) {
            for (std::size_t channel = 0; channel < channels; ++channel)
                mixed[x * channels + channel] +=
                    across[x].weights[k] * line[(across[x].first + k) * channels + channel];
        }
    }
    return mixed;
}

}  // namespace

Picture scaled(const Picture& picture, std::size_t width, std::size_t height) {
    if (picture.width == width && picture.height == height) return picture;
    const std::vector<Mix> across = mixes(picture.width, width);
    const std::vector<Mix> down = mixes(picture.height, height);
    Picture result{width, height, picture.channels, {}};
    result.samples.reserve(width * height * picture.channels);
    for (const Mix& mix : down) {
        std::vector<double> sum(width * picture.channels);
        for (std::size_t k = 0; k < mix.weights.size(); ++k) {
            const std::vector<double> line = acrossLine(picture, mix.first + k, across);
            for (std::size_t at = 0; at < sum.size(); ++at) sum[at] += mix.weights[k] * line[at];
        }
        for (const double sample : sum)
            result.samples.push_back(static_cast<std::uint16_t>(std::lround(std::clamp(sample, 0.0, 65535.0))));
    }
    return result;
}

// In each direction there is at most one weight per source pixel and two per result pixel, in blocks that grow by
// doubling.
std::size_t scalingBytes(const Picture& picture, std::size_t width, std::size_t height) {
    constexpr std::size_t kBlock = 32;  // of the allocator's own for each block
    const auto mixBytes = [](std::size_t source, std::size_t target) {
        return target * (sizeof(Mix) + kBlock) + 2 * (source + 2 * target) * sizeof(double);
    };
    const std::size_t lines = 3 * width * picture.channels * sizeof(double);
    const std::size_t samples = width * height * picture.channels * sizeof(std::uint16_t);
    return samples + lines + mixBytes(picture.width, width) + mixBytes(picture.height, height);
}

}  // namespace frames
