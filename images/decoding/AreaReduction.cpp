#include "AreaReduction.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#ifdef __SSE2__
#include <immintrin.h>
#endif

namespace frameflow {

namespace {

constexpr int whole = 128;
constexpr int shift = 14; // 7 bits of the shares along each axis

struct Lines
{
    const uchar* first;
    qsizetype bytesPerLine;
    const qint16* shares;
    int count; // of lines
};

// The sums over some lines, each times its share, of the bytes from "begin" to "end".
void sumSingly(const Lines& lines, qint16* sums, int begin, int end)
{
    for (int i = begin; i < end; ++i) {
        int sum = 0;
        for (int k = 0; k < lines.count; ++k) {
            sum += lines.first[k * lines.bytesPerLine + i] * lines.shares[k];
        }
        sums[i] = static_cast<qint16>(sum);
    }
}

#ifdef __SSE2__

__m128i bytesAt(const uchar* from)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

// Answer up to where they came.
int sumWithSse2(const Lines& lines, qint16* sums, int bytes)
{
    constexpr int step = 16;
    const __m128i zero = _mm_setzero_si128();
    int i = 0;
    for (; i + step <= bytes; i += step) {
        __m128i low = zero;
        __m128i high = zero;
        for (int k = 0; k < lines.count; ++k) {
            const __m128i share = _mm_set1_epi16(lines.shares[k]);
            const __m128i line = bytesAt(lines.first + k * lines.bytesPerLine + i);
            low = _mm_add_epi16(low, _mm_mullo_epi16(_mm_unpacklo_epi8(line, zero), share));
            high = _mm_add_epi16(high, _mm_mullo_epi16(_mm_unpackhi_epi8(line, zero), share));
        }
        auto* const to = reinterpret_cast<__m128i*>(sums + i);
        _mm_storeu_si128(to, low);
        _mm_storeu_si128(to + 1, high);
    }
    return i;
}

// Two lines at a time.
__attribute__((target("avx2"))) int sumWithAvx2(const Lines& lines, qint16* sums, int bytes)
{
    constexpr int step = 32;
    constexpr int lowHalves = 0x20;
    constexpr int highHalves = 0x31;
    int i = 0;
    for (; i + step <= bytes; i += step) {
        __m256i low = _mm256_setzero_si256();
        __m256i high = low;
        for (int k = 0; k < lines.count; k += 2) {
            const uchar* const upper = lines.first + k * lines.bytesPerLine + i;
            const uchar* const lower = k + 1 < lines.count ? upper + lines.bytesPerLine : upper;
            // Of an odd number the last share of a pair is nothing.
            const auto two = static_cast<qint16>(lines.shares[k] | lines.shares[k + 1] << 8);
            const __m256i shares = _mm256_set1_epi16(two);
            const __m256i one = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(upper));
            const __m256i other = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(lower));
            low = _mm256_add_epi16(low, _mm256_maddubs_epi16(_mm256_unpacklo_epi8(one, other), shares));
            high = _mm256_add_epi16(high, _mm256_maddubs_epi16(_mm256_unpackhi_epi8(one, other), shares));
        }
        auto* const to = reinterpret_cast<__m256i*>(sums + i);
        _mm256_storeu_si256(to, _mm256_permute2x128_si256(low, high, lowHalves));
        _mm256_storeu_si256(to + 1, _mm256_permute2x128_si256(low, high, highHalves));
    }
    return i;
}

void sumLines(const Lines& lines, qint16* sums, int bytes)
{
    static const bool hasAvx2 = __builtin_cpu_supports("avx2") != 0;
    // The larger instructions take shares as signed bytes, which the whole does not fit into.
    const bool fit
        = std::none_of(lines.shares, lines.shares + lines.count, [](qint16 share) { return share == whole; });
    const int done = hasAvx2 && fit ? sumWithAvx2(lines, sums, bytes) : sumWithSse2(lines, sums, bytes);
    sumSingly(lines, sums, done, bytes);
}

// Two pixels at a time; a span of an odd number ends with a share of nothing.
quint32 pixelOf(const qint16* sums, const qint16* shares, int count)
{
    __m128i total = _mm_set1_epi32(1 << (shift - 1));
    for (int k = 0; k < count; k += 2) {
        const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sums + qsizetype(4) * k));
        qint32 two = 0;
        std::memcpy(&two, shares + k, sizeof(two));
        const __m128i pairs = _mm_unpacklo_epi16(pixels, _mm_srli_si128(pixels, 8));
        total = _mm_add_epi32(total, _mm_madd_epi16(pairs, _mm_set1_epi32(two)));
    }
    total = _mm_srli_epi32(total, shift);
    total = _mm_packs_epi32(total, total);
    return static_cast<quint32>(_mm_cvtsi128_si32(_mm_packus_epi16(total, total)));
}

#else

void sumLines(const Lines& lines, qint16* sums, int bytes)
{
    sumSingly(lines, sums, 0, bytes);
}

quint32 pixelOf(const qint16* sums, const qint16* shares, int count)
{
    std::array<qint32, 4> total{};
    for (int k = 0; k < count; ++k) {
        for (int channel = 0; channel < 4; ++channel) {
            total[channel] += sums[4 * k + channel] * shares[k];
        }
    }
    std::array<uchar, 4> bytes{};
    std::transform(total.begin(), total.end(), bytes.begin(),
        [](qint32 sum) { return static_cast<uchar>((sum + (1 << (shift - 1))) >> shift); });
    quint32 result = 0;
    std::memcpy(&result, bytes.data(), sizeof(result));
    return result;
}

#endif

} // namespace

bool AreaReduction::isPossible(QSize from, QSize to)
{
    return !to.isEmpty() && to.width() <= from.width() && to.height() <= from.height()
        && from.width() / to.width() < mostTimes && from.height() / to.height() < mostTimes;
}

AreaReduction::Axis::Axis(int from, int to)
{
    const double length = static_cast<double>(from) / to;
    spans.reserve(to);
    for (int i = 0; i < to; ++i) {
        const double begin = i * length;
        const double end = std::min<double>((i + 1) * length, from);
        const int first = std::min(static_cast<int>(begin), from - 1);
        const int last = std::clamp(static_cast<int>(std::ceil(end)) - 1, first, from - 1);
        spans.push_back({first, last - first + 1, shares.size()});
        // Rounded at the borders between pixels, so that the shares of a span sum up to the whole.
        int given = 0;
        for (int pixel = first; pixel <= last; ++pixel) {
            const double covered = (std::min<double>(pixel + 1, end) - begin) / (end - begin);
            const int upTo = pixel == last ? whole : static_cast<int>(std::lround(covered * whole));
            shares.push_back(static_cast<qint16>(upTo - given));
            given = upTo;
        }
        if (shares.size() % 2 != 0) {
            shares.push_back(0);
        }
    }
}

AreaReduction::AreaReduction(QSize from, QSize to)
    : mAcross(from.width(), to.width()), mDown(from.height(), to.height()), mBytes(from.width() * 4)
{
    constexpr int bytesPerPixel = 4;
    mLine.resize(mBytes + bytesPerPixel); // pixels are looked at in pairs
}

void AreaReduction::advance(const uchar* pixels, qsizetype bytesPerLine, int lines, QImage& to)
{
    for (; mNext < static_cast<int>(mDown.spans.size()); ++mNext) {
        const Span& down = mDown.spans[mNext];
        if (down.first + down.count > lines) {
            return;
        }
        const Lines covered{
            pixels + down.first * bytesPerLine, bytesPerLine, mDown.shares.data() + down.shares, down.count};
        sumLines(covered, mLine.data(), mBytes);
        auto* const line = reinterpret_cast<quint32*>(to.scanLine(mNext));
        for (size_t x = 0; x < mAcross.spans.size(); ++x) {
            const Span& across = mAcross.spans[x];
            line[x] = pixelOf(
                mLine.data() + qsizetype(4) * across.first, mAcross.shares.data() + across.shares, across.count);
        }
    }
}

} // namespace frameflow
