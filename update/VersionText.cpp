#include "VersionText.h"

#include <QStringList>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

namespace frameflow {

namespace {

constexpr std::string_view versionCharacters = "0123456789.";
constexpr std::string_view blanks = " \t\n\v\f\r";

struct LeadingNumber
{
    bool isTooLarge = false;
    bool hasDigits = false;
    int value = 0; // the nearest one that there is
};

LeadingNumber leadingNumber(std::string_view field)
{
    field.remove_prefix(std::min(field.find_first_not_of(blanks), field.size()));
    if (field.starts_with('+')) {
        field.remove_prefix(1);
        if (field.starts_with('-')) {
            return {};
        }
    }
    LeadingNumber number;
    const auto read = std::from_chars(field.data(), field.data() + field.size(), number.value);
    number.isTooLarge = read.ec == std::errc::result_out_of_range;
    number.hasDigits = read.ec != std::errc::invalid_argument;
    if (number.isTooLarge) {
        number.value = field.starts_with('-') ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
    }
    return number;
}

// Absent for a field that is no number of 32 bits.
std::optional<int> parseField(std::string_view field)
{
    const LeadingNumber number = leadingNumber(field);
    return number.hasDigits && !number.isTooLarge ? std::optional(number.value) : std::nullopt;
}

} // namespace

void trimToVersionChars(std::string& text)
{
    const size_t first = text.find_first_of(versionCharacters);
    const size_t last = text.find_last_of(versionCharacters);
    if (first == std::string::npos || first == last) {
        text.clear();
    } else {
        text = text.substr(first, last - first + 1);
    }
}

bool parseVersion(std::string_view text, int& major, int& minor, int& patch)
{
    major = minor = patch = 0;
    if (text.find('.') == std::string_view::npos) {
        return false;
    }
    std::array<int, 3> numbers{};
    for (int& number : numbers) {
        const size_t dot = text.find('.');
        const auto field = parseField(text.substr(0, dot));
        if (!field) {
            return false;
        }
        number = *field;
        if (dot == std::string_view::npos) {
            break;
        }
        text.remove_prefix(dot + 1);
    }
    std::tie(major, minor, patch) = std::tuple_cat(numbers);
    return true;
}

bool isValidVersion(std::string_view text)
{
    int major = 0;
    int minor = 0;
    int patch = 0;
    return parseVersion(text, major, minor, patch) && (major != 0 || minor != 0 || patch != 0);
}

bool isNewerVersion(std::string_view current, std::string_view candidate)
{
    std::array<int, 3> ours{};
    std::array<int, 3> theirs{};
    parseVersion(current, ours[0], ours[1], ours[2]);
    parseVersion(candidate, theirs[0], theirs[1], theirs[2]);
    return theirs > ours;
}

bool isValidVersion(const char* text)
{
    return text != nullptr && isValidVersion(std::string_view(text));
}

bool isNewerVersion(const char* current, const char* candidate)
{
    return isNewerVersion(
        std::string_view(current != nullptr ? current : ""), std::string_view(candidate != nullptr ? candidate : ""));
}

std::optional<std::string> versionInReply(std::string reply)
{
    constexpr size_t shortest = 3;
    constexpr size_t longest = 11;
    trimToVersionChars(reply);
    const bool isUsable = reply.size() >= shortest && reply.size() <= longest && isValidVersion(reply);
    return isUsable ? std::optional(std::move(reply)) : std::nullopt;
}

ComparisonResult compareVersion(const QString& receiver, const QString& other)
{
    const auto order = [](auto a, auto b) {
        return a == b ? ComparisonResult::Same : a < b ? ComparisonResult::Ascending : ComparisonResult::Descending;
    };
    const QStringList ours = receiver.split(QLatin1Char('.'));
    const QStringList theirs = other.split(QLatin1Char('.'));
    for (qsizetype i = 0; i < std::min(ours.size(), theirs.size()); ++i) {
        const auto fields
            = order(leadingNumber(ours.at(i).toStdString()).value, leadingNumber(theirs.at(i).toStdString()).value);
        if (fields != ComparisonResult::Same) {
            return fields;
        }
    }
    return order(ours.size(), theirs.size());
}

} // namespace frameflow
