#include "PropertyList.h"

#include <QDateTime>
#include <QXmlStreamReader>

namespace frameflow {

namespace {

constexpr int deepestNesting = 64;

class Reader
{
public:
    explicit Reader(const QByteArray& xml) : mXml(xml) { }

    tl::expected<QVariant, QString> read()
    {
        if (!mXml.readNextStartElement() || mXml.name() != QLatin1String("plist")) {
            mXml.raiseError(QStringLiteral("no plist element"));
        }
        QVariant value;
        if (!mXml.hasError()) {
            value = readOnlyValue();
        }
        if (mXml.hasError()) {
            return tl::unexpected(
                QStringLiteral("line %1: %2").arg(QString::number(mXml.lineNumber()), mXml.errorString()));
        }
        return value;
    }

private:
    QVariant readOnlyValue()
    {
        QVariant value;
        if (mXml.readNextStartElement()) {
            value = readValue(0);
        } else {
            mXml.raiseError(QStringLiteral("no value"));
        }
        while (!mXml.atEnd()) {
            if (mXml.readNext() == QXmlStreamReader::StartElement) {
                mXml.raiseError(QStringLiteral("more than one value"));
            }
        }
        return value;
    }

    QVariant readValue(int depth)
    {
        if (depth > deepestNesting) {
            mXml.raiseError(QStringLiteral("nested too deeply"));
            return {};
        }
        const auto name = mXml.name();
        if (name == QLatin1String("dict")) {
            return readDictionary(depth);
        }
        if (name == QLatin1String("array")) {
            return readArray(depth);
        }
        if (name == QLatin1String("true") || name == QLatin1String("false")) {
            const bool value = name == QLatin1String("true");
            mXml.skipCurrentElement();
            return value;
        }
        return readText(name.toString());
    }

    QVariant readText(const QString& name)
    {
        const QString text = mXml.readElementText();
        bool valid = true;
        QVariant value;
        if (name == QLatin1String("string")) {
            value = text;
        } else if (name == QLatin1String("integer")) {
            value = text.trimmed().toLongLong(&valid);
        } else if (name == QLatin1String("real")) {
            value = text.trimmed().toDouble(&valid);
        } else if (name == QLatin1String("date")) {
            const auto date = QDateTime::fromString(text.trimmed(), Qt::ISODate);
            valid = date.isValid();
            value = date;
        } else if (name == QLatin1String("data")) {
            const auto bytes = QByteArray::fromBase64Encoding(
                text.simplified().remove(QLatin1Char(' ')).toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
            valid = bytes.decodingStatus == QByteArray::Base64DecodingStatus::Ok;
            value = bytes.decoded;
        } else {
            valid = false;
        }
        if (!valid && !mXml.hasError()) {
            mXml.raiseError(QStringLiteral("bad %1 element").arg(name));
        }
        return value;
    }

    QVariantMap readDictionary(int depth)
    {
        QVariantMap map;
        while (mXml.readNextStartElement()) {
            if (mXml.name() != QLatin1String("key")) {
                mXml.raiseError(QStringLiteral("a dictionary entry without key"));
                break;
            }
            const QString key = mXml.readElementText();
            if (!mXml.readNextStartElement()) {
                mXml.raiseError(QStringLiteral("a key without value"));
                break;
            }
            map.insert(key, readValue(depth + 1));
        }
        return map;
    }

    QVariantList readArray(int depth)
    {
        QVariantList list;
        while (mXml.readNextStartElement()) {
            list.append(readValue(depth + 1));
        }
        return list;
    }

    QXmlStreamReader mXml;
};

} // namespace

tl::expected<QVariant, QString> readPropertyList(const QByteArray& xml)
{
    return Reader(xml).read();
}

} // namespace frameflow
