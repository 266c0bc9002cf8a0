#pragma once

#include <QByteArrayView>

#include <string>

namespace frameflow {

// Appends bytes whose plain order is the order of file names for people: letters without regard to case, runs of
// ASCII digits of any length by their value, all else by code point, without a locale. Bytes that are not UTF-8 stand
// after all characters. Names that differ only in case or in leading zeros have the same key. Any thread.
void appendNameKey(QByteArrayView name, std::string& key);

std::string nameKey(QByteArrayView name);

} // namespace frameflow
