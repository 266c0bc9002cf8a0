#pragma once

#include <QString>

#include <optional>
#include <string>
#include <string_view>

namespace frameflow {

// Versions as texts of decimal fields, such as 2.4.1. All functions take whatever a stranger may have written.

// Cuts the text down to what lies between its first and its last digit or dot, both included; to nothing where there
// are fewer than two of them.
void trimToVersionChars(std::string& text);

// Reads the first three fields, of which the third may be missing. False, with all three 0, when one of them is no
// number of 32 bits. A field begins with its number; what follows in it, and further fields, are ignored.
bool parseVersion(std::string_view text, int& major, int& minor, int& patch);

// Whether it can be parsed, and is not zero throughout.
bool isValidVersion(std::string_view text);
// Whether the candidate's three numbers are greater. A text that cannot be parsed counts as 0.0.0.
bool isNewerVersion(std::string_view current, std::string_view candidate);

// The same for plain texts; null counts as an empty one.
bool isValidVersion(const char* text);
bool isNewerVersion(const char* current, const char* candidate);

// The version that a server's reply is about, from three to eleven characters long; absent when it names none that is
// valid.
std::optional<std::string> versionInReply(std::string reply);

enum class ComparisonResult
{
    Ascending = -1, // the receiver is the earlier one
    Same = 0,
    Descending = 1,
};

// Compares field by field, any number of them; a field counts by its leading number, as 0 without one. Where all
// fields that both have are equal, the one with more fields is the later: 1.2.0 comes after 1.2.
ComparisonResult compareVersion(const QString& receiver, const QString& other);

} // namespace frameflow
