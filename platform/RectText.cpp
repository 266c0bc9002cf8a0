#include "RectText.h"

#include <QRegularExpression>

#include <array>
#include <cmath>

namespace frameflow {

QString textFromRect(const QRectF& rect)
{
    const auto number = [](double value) { return QString::number(value, 'g', 17); };
    return QStringLiteral("{{%1, %2}, {%3, %4}}")
        .arg(number(rect.x()), number(rect.y()), number(rect.width()), number(rect.height()));
}

QRectF rectFromText(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral(
        R"(^\s*\{\s*\{\s*([^,{}\s]+)\s*,\s*([^,{}\s]+)\s*\}\s*,\s*\{\s*([^,{}\s]+)\s*,\s*([^,{}\s]+)\s*\}\s*\}\s*$)"));
    const auto match = pattern.match(text);
    if (!match.hasMatch()) {
        return {};
    }
    std::array<double, 4> values{};
    for (int i = 0; i < 4; ++i) {
        bool valid = false;
        values.at(i) = match.captured(i + 1).toDouble(&valid);
        if (!valid || !std::isfinite(values.at(i))) {
            return {};
        }
    }
    return {values[0], values[1], values[2], values[3]};
}

} // namespace frameflow
