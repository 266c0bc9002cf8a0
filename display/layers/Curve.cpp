#include "Curve.h"

#include <cmath>

namespace frameflow {

namespace {

// One coordinate of a cubic Bezier curve from 0 to 1 with the control values a and b.
double bezier(double a, double b, double t)
{
    const double u = 1 - t;
    return 3 * u * u * t * a + 3 * u * t * t * b + t * t * t;
}

// The parameter at which the curve's x is the given one. The curves in use rise steadily in x, so that halving always
// finds it; 40 halvings are finer than any screen.
double parameterAt(double x1, double x2, double x)
{
    double low = 0;
    double high = 1;
    for (int i = 0; i < 40; ++i) {
        const double middle = (low + high) / 2;
        (bezier(x1, x2, middle) < x ? low : high) = middle;
    }
    return (low + high) / 2;
}

// The y control values of all three curves are 0 and 1.
double eased(double x1, double x2, double x)
{
    return bezier(0, 1, parameterAt(x1, x2, x));
}

} // namespace

double curveValue(Curve curve, double fraction)
{
    if (!(fraction > 0)) {
        return 0;
    }
    if (fraction >= 1) {
        return 1;
    }
    switch (curve) {
    case Curve::Linear:
        break;
    case Curve::EaseIn:
        return eased(0.42, 1, fraction);
    case Curve::EaseOut:
        return eased(0, 0.58, fraction);
    case Curve::EaseInEaseOut:
        return eased(0.42, 0.58, fraction);
    }
    return fraction;
}

} // namespace frameflow
