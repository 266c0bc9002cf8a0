#include "NameKey.h"

#include <QChar>

namespace frameflow {

namespace {

// Before the digits of a number: no other character of a key lies between '0' and '9', so a number stands to other
// characters as a digit does.
constexpr char numberMark = '0';
// Before a byte that is not UTF-8: greater than every first byte of a character.
constexpr char strayMark = '\xff';
constexpr qsizetype longestLengthStep = 255;

bool isDigit(char byte)
{
    return byte >= '0' && byte <= '9';
}

// Appends the number at the position and answers the position after it. The count of digits goes first, so that the
// longer number is the greater one.
qsizetype appendNumber(QByteArrayView name, qsizetype at, std::string& key)
{
    while (at < name.size() && name[at] == '0') {
        ++at;
    }
    qsizetype end = at;
    while (end < name.size() && isDigit(name[end])) {
        ++end;
    }
    key += numberMark;
    qsizetype length = end - at;
    for (; length >= longestLengthStep; length -= longestLengthStep) {
        key += static_cast<char>(longestLengthStep);
    }
    key += static_cast<char>(length);
    key.append(name.data() + at, end - at);
    return end;
}

struct Character
{
    char32_t code = 0;
    qsizetype length = 0; // 0: not UTF-8
};

Character characterAt(QByteArrayView name, qsizetype at)
{
    const auto byteAt = [&](qsizetype i) { return static_cast<unsigned char>(name[i]); };
    const unsigned first = byteAt(at);
    qsizetype length = 0;
    char32_t least = 0;
    if (first >= 0xc2 && first <= 0xdf) {
        length = 2;
        least = 0x80;
    } else if (first >= 0xe0 && first <= 0xef) {
        length = 3;
        least = 0x800;
    } else if (first >= 0xf0 && first <= 0xf4) {
        length = 4;
        least = 0x10000;
    }
    if (length == 0 || name.size() - at < length) {
        return {};
    }
    char32_t code = first & (0x7fU >> length);
    for (qsizetype i = at + 1; i < at + length; ++i) {
        if ((byteAt(i) & 0xc0U) != 0x80) {
            return {};
        }
        code = (code << 6U) | (byteAt(i) & 0x3fU);
    }
    const bool valid = code >= least && code <= QChar::LastValidCodePoint && !QChar::isSurrogate(code);
    return valid ? Character{code, length} : Character{};
}

void appendCharacter(char32_t code, std::string& key)
{
    const auto append = [&](char32_t byte) { key += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (code < 0x80) {
        append(code);
        return;
    }
    if (code < 0x800) {
        append(0xc0U | (code >> 6U));
    } else {
        if (code < 0x10000) {
            append(0xe0U | (code >> 12U));
        } else {
            append(0xf0U | (code >> 18U));
            append(0x80U | ((code >> 12U) & 0x3fU));
        }
        append(0x80U | ((code >> 6U) & 0x3fU));
    }
    append(0x80U | (code & 0x3fU));
}

} // namespace

void appendNameKey(QByteArrayView name, std::string& key)
{
    for (qsizetype at = 0; at < name.size();) {
        const char byte = name[at];
        if (isDigit(byte)) {
            at = appendNumber(name, at, key);
        } else if (static_cast<unsigned char>(byte) < 0x80) {
            key += byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + ('a' - 'A')) : byte;
            ++at;
        } else if (const auto character = characterAt(name, at); character.length > 0) {
            appendCharacter(QChar::toCaseFolded(character.code), key);
            at += character.length;
        } else {
            key += strayMark;
            key += byte;
            ++at;
        }
    }
}

std::string nameKey(QByteArrayView name)
{
    std::string key;
    appendNameKey(name, key);
    return key;
}

} // namespace frameflow
