#pragma once

#include <QByteArray>
#include <QVariant>

#include <tl/expected.hpp>

namespace frameflow {

// Reads an XML property list into strings, integers, doubles, booleans, dates, byte arrays, QVariantLists and
// QVariantMaps. The error is a text for a log. Nesting beyond 64 levels is an error.
tl::expected<QVariant, QString> readPropertyList(const QByteArray& xml);

} // namespace frameflow
