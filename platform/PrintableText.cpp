#include "PrintableText.h"

namespace frameflow {

namespace {

// They have no picture of their own, but words of Persian and Indian languages and many emoji are written with them.
bool joins(QChar character)
{
    constexpr char16_t nonJoiner = 0x200c;
    constexpr char16_t joiner = 0x200d;
    return character == nonJoiner || character == joiner;
}

} // namespace

QString printable(QString name)
{
    for (QChar& character : name) {
        if (!character.isPrint() && !character.isSurrogate() && !joins(character)) {
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
