#include "Mixing.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace frameflow {

namespace {

constexpr quint32 opaque = 0xff000000;

// One of the drawings, row by row.
class Rows
{
public:
    Rows(const QImage& image, int width)
        : mImage(image), mEmpty(image.isNull() ? width : 0),
          mAlpha(image.hasAlphaChannel() || image.isNull() ? 0 : opaque)
    {
    }

    const quint32* row(int y) const
    {
        return mImage.isNull() ? mEmpty.data() : reinterpret_cast<const quint32*>(mImage.constScanLine(y));
    }
    // To be set in every pixel: that of an opaque picture may hold anything.
    quint32 alpha() const { return mAlpha; }

private:
    const QImage& mImage;
    std::vector<quint32> mEmpty;
    quint32 mAlpha;
};

quint32 mixPixel(quint32 from, quint32 to, quint32 share)
{
    const quint32 rest = FilterShares::whole - share;
    // Two channels at a time, each with eight bits to spare, rounded.
    const quint32 low = ((from & 0xff00ff) * rest + (to & 0xff00ff) * share + 0x800080) >> 8;
    const quint32 high = ((from >> 8) & 0xff00ff) * rest + ((to >> 8) & 0xff00ff) * share + 0x800080;
    return (low & 0xff00ff) | (high & 0xff00ff00);
}

void copyRow(quint32* out, const quint32* from, quint32 alpha, int count)
{
    for (int x = 0; x < count; ++x) {
        out[x] = from[x] | alpha;
    }
}

void mixEvenly(
    quint32* out, const quint32* from, quint32 fromAlpha, const quint32* to, quint32 toAlpha, quint32 share, int width)
{
    for (int x = 0; x < width; ++x) {
        out[x] = mixPixel(from[x] | fromAlpha, to[x] | toAlpha, share);
    }
}

void mixRow(quint32* out, const quint32* from, quint32 fromAlpha, const quint32* to, quint32 toAlpha,
    const quint16* shares, int width)
{
    for (int x = 0; x < width;) {
        const quint16 share = shares[x];
        int end = x + 1;
        while (end < width && shares[end] == share) {
            ++end;
        }
        if (share == 0) {
            copyRow(out + x, from + x, fromAlpha, end - x);
        } else if (share == FilterShares::whole) {
            copyRow(out + x, to + x, toAlpha, end - x);
        } else {
            mixEvenly(out + x, from + x, fromAlpha, to + x, toAlpha, share, end - x);
        }
        x = end;
    }
}

} // namespace

bool canMix(const TransitionEffect& effect)
{
    return effect.kind == TransitionEffect::Kind::Fade
        || (effect.kind == TransitionEffect::Kind::Filter && transitionFilter(effect.filterName).has_value());
}

void Mixer::mix(QImage& result, const QImage& source, const QImage& target, const MixDraw& mix, const ViewArea& area)
{
    const int width = result.width();
    const Rows from(source, width);
    const Rows to(target, width);
    const double progress = std::clamp(mix.progress, 0.0, 1.0);
    const auto filter
        = mix.effect.kind == TransitionEffect::Kind::Filter ? transitionFilter(mix.effect.filterName) : std::nullopt;
    // Both ends are exact, whatever the filter makes of them.
    const bool isEven = !filter || progress == 0 || progress == 1;
    const auto share = static_cast<quint32>(std::lround(progress * FilterShares::whole));
    if (!isEven) {
        mShares.prepare(*filter, progress, mix.effect.inputExtent, area, mBands);
    }
    uchar* const bits = result.bits(); // detaches here, and not in the bands
    const qsizetype stride = result.bytesPerLine();
    mBands.forEach(result.height(), [&](int first, int last) {
        std::vector<quint16> room(isEven ? 0 : width);
        for (int y = first; y < last; ++y) {
            auto* const out = reinterpret_cast<quint32*>(bits + y * stride);
            if (isEven) {
                mixEvenly(out, from.row(y), from.alpha(), to.row(y), to.alpha(), share, width);
            } else {
                mixRow(out, from.row(y), from.alpha(), to.row(y), to.alpha(), mShares.row(y, room), width);
            }
        }
    });
}

} // namespace frameflow
