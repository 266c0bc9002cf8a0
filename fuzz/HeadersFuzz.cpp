// What is found out about a file before a library sees it, and the sums that are done with the numbers in it.

#include "AreaReduction.h"
#include "Bytes.h"
#include "ContentType.h"
#include "FrameRule.h"
#include "Limits.h"
#include "Orientation.h"
#include "PhotoshopInks.h"

#include <algorithm>
#include <array>

using namespace frameflow;
using namespace frameflow::fuzz;

namespace {

void checkSizes(Input& input)
{
    const QSize size(input.ConsumeIntegral<int>(), input.ConsumeIntegral<int>());
    const FrameRule rule{{input.ConsumeFloatingPoint<double>(), input.ConsumeFloatingPoint<double>()},
        input.ConsumeFloatingPoint<double>(), FitMode(input.ConsumeIntegralInRange(0, 3))};
    if (size.isEmpty()) {
        return;
    }
    const int side = input.ConsumeIntegralInRange(0, 1 << 20);
    const QSize held = heldSize(size, side);
    require(!held.isEmpty() && qint64(held.width()) * held.height() <= mostPixelsHeld);
    require(held.width() <= size.width() && held.height() <= size.height());
    require(side == 0 || std::max(held.width(), held.height()) <= side);
    const QSize reduced = rule.reductionOf(size, held);
    require(reduced.isEmpty() || (reduced.width() <= held.width() && reduced.height() <= held.height()));
    static_cast<void>(AreaReduction::isPossible(held, reduced));
    const int orientation = validOrientation(input.ConsumeIntegral<qint64>());
    require(orientation >= 1 && orientation <= 8);
    static_cast<void>(orientationTransform(held, orientation));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static constexpr std::array names{"a", "a.tga", "a.svg", "a.svgz", "a.psd", "a.dng"};
    Input input(data, size);
    const char* const name = input.PickValueInArray(names);
    checkSizes(input);
    const QByteArray contents = restOf(input);
    const ContentType type = contentType(contents, name);
    static_cast<void>(isMisreadByQt(contents, type));
    static_cast<void>(isMisreadByQt(contents, ContentType::Jpeg));
    static_cast<void>(isMisreadByQt(contents, ContentType::Tiff));
    constexpr qsizetype mostAdded = 30000 * 4 * 8 + 1024; // two numbers for each line of each ink
    require(tiffOfPhotoshopInks(contents).size() <= contents.size() + mostAdded);
    return 0;
}
