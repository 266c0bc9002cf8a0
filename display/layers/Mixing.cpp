#include "Mixing.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace frameflow {

namespace {

void mixFade(QImage& result, const QImage& source, const QImage& target, const MixDraw& mix, const ViewArea& /*area*/)
{
    const auto share = static_cast<quint32>(std::lround(std::clamp(mix.progress, 0.0, 1.0) * 256));
    const quint32 rest = 256 - share;
    for (int y = 0; y < result.height(); ++y) {
        const auto* from = reinterpret_cast<const quint32*>(source.constScanLine(y));
        const auto* to = reinterpret_cast<const quint32*>(target.constScanLine(y));
        auto* out = reinterpret_cast<quint32*>(result.scanLine(y));
        for (int x = 0; x < result.width(); ++x) {
            // Two channels at a time, each with eight bits to spare.
            const quint32 low = ((from[x] & 0xff00ff) * rest + (to[x] & 0xff00ff) * share) >> 8;
            const quint32 high = ((from[x] >> 8) & 0xff00ff) * rest + ((to[x] >> 8) & 0xff00ff) * share;
            out[x] = (low & 0xff00ff) | (high & 0xff00ff00);
        }
    }
}

struct MixRow
{
    TransitionEffect::Kind kind;
    QLatin1String filterName; // of a Filter
    MixFunction function;
};

constexpr std::array mixTable{
    MixRow{TransitionEffect::Kind::Fade, QLatin1String(), mixFade},
};

} // namespace

MixFunction mixFunctionFor(const TransitionEffect& effect)
{
    const auto row = std::find_if(mixTable.begin(), mixTable.end(), [&](const MixRow& candidate) {
        return candidate.kind == effect.kind
            && (effect.kind != TransitionEffect::Kind::Filter || candidate.filterName == effect.filterName);
    });
    return row == mixTable.end() ? nullptr : row->function;
}

} // namespace frameflow
