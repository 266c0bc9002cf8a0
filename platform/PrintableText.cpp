#include "PrintableText.h"

namespace frameflow {

QString printable(QString name)
{
    for (QChar& character : name) {
        if (!character.isPrint() && !character.isSurrogate()) {
            character = QChar::ReplacementCharacter;
        }
    }
    return name;
}

QString readFromTheLeft(const QString& path)
{
    constexpr QChar leftToRightIsolate(0x2066);
    constexpr QChar endOfIsolate(0x2069);
    return leftToRightIsolate + path + endOfIsolate;
}

} // namespace frameflow
