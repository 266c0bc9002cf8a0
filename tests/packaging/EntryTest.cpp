#include "FileTypes.h"

#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QMimeDatabase>
#include <QRegularExpression>
#include <QSet>
#include <QSettings>
#include <QTest>

using namespace frameflow;

// What desktops are told of the program, compared with what it can do.
class EntryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyTypeThatIsShownIsNamed();
    void onlyTypesThatAreShownAreNamed();
    void rawTypesThatTheDatabaseMistakesAreNotTaken();
    void everyCommandOfTheEntryIsOne();
    void theIconIsThereInAllSizes_data();
    void theIconIsThereInAllSizes();
    void theIconsAreThatOfTheDrawing_data();
    void theIconsAreThatOfTheDrawing();

private:
    static QString inPackaging(const QString& name) { return QStringLiteral(PACKAGING "/") + name; }
    static QStringList listIn(const QByteArray& key)
    {
        QFile file(inPackaging(QStringLiteral("com.quillory.Frameflow.desktop.in")));
        if (!file.open(QIODevice::ReadOnly)) {
            return {};
        }
        while (!file.atEnd()) {
            const QByteArray line = file.readLine().trimmed();
            if (line.startsWith(key + '=')) {
                return QString::fromUtf8(line.mid(key.size() + 1)).split(QLatin1Char(';'), Qt::SkipEmptyParts);
            }
        }
        return {};
    }
};

void EntryTest::everyTypeThatIsShownIsNamed()
{
    const QStringList named = listIn("MimeType");
    const QStringList shown = displayableMimeTypes();
    QVERIFY(shown.size() > 90);
    for (const QString& type : shown) {
        QVERIFY2(named.contains(type), qPrintable(type));
    }
    QVERIFY(named.contains(QStringLiteral("inode/directory"))); // folders are what it is mostly given
}

// Other names of such a type are allowed: desktops of another age know it by them. One desktop has a type of its own
// for all camera raw pictures, which is there only where its libraries are.
void EntryTest::onlyTypesThatAreShownAreNamed()
{
    const QMimeDatabase database;
    const QStringList shown = displayableMimeTypes();
    const QStringList named = listIn("MimeType");
    QCOMPARE(QSet<QString>(named.begin(), named.end()).size(), named.size());
    for (const QString& type : named) {
        const QMimeType known = database.mimeTypeForName(type);
        QVERIFY2(type == QLatin1String("inode/directory") || type == QLatin1String("image/x-kde-raw")
                || shown.contains(type) || shown.contains(known.name()),
            qPrintable(type));
    }
}

void EntryTest::rawTypesThatTheDatabaseMistakesAreNotTaken()
{
    QCOMPARE(mediaKindForName("a.cap"), MediaKind::Image);
    for (const QString& type : displayableMimeTypes()) {
        QVERIFY2(!type.startsWith(QLatin1String("application/")) || type == QLatin1String("application/fits"),
            qPrintable(type));
    }
}

void EntryTest::everyCommandOfTheEntryIsOne()
{
    QFile menu(QStringLiteral(PACKAGING "/../resources/MainMenu.ui"));
    QVERIFY(menu.open(QIODevice::ReadOnly));
    const QByteArray text = menu.readAll();
    const QStringList commands = listIn("Actions");
    QVERIFY(!commands.isEmpty());
    for (const QString& command : commands) {
        QVERIFY2(text.contains("<action name=\"" + command.toUtf8() + "\""), qPrintable(command));
    }
}

void EntryTest::theIconIsThereInAllSizes_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {16, 24, 32, 48, 64, 128, 256, 512}) {
        QTest::addRow("%d", size) << size;
    }
}

void EntryTest::theIconIsThereInAllSizes()
{
    QFETCH(const int, size);
    const QImage icon(inPackaging(QStringLiteral("icons/%1.png").arg(size)));
    QCOMPARE(icon.size(), QSize(size, size));
    QVERIFY(icon.hasAlphaChannel());
    QCOMPARE(icon.pixelColor(0, 0).alpha(), 0);
    int covered = 0;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            covered += icon.pixelColor(x, y).alpha() > 128 ? 1 : 0;
        }
    }
    QVERIFY(covered > size * size / 2);
}

void EntryTest::theIconsAreThatOfTheDrawing_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {64, 256}) {
        QTest::addRow("%d", size) << size;
    }
}

void EntryTest::theIconsAreThatOfTheDrawing()
{
    QFETCH(const int, size);
    QImageReader reader(inPackaging(QStringLiteral("icons/com.quillory.Frameflow.svg")));
    reader.setScaledSize(QSize(size, size));
    const QImage drawn = reader.read().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage kept = QImage(inPackaging(QStringLiteral("icons/%1.png").arg(size)))
                            .convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(drawn.size(), kept.size());
    qint64 difference = 0;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const QRgb a = drawn.pixel(x, y);
            const QRgb b = kept.pixel(x, y);
            difference += std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) + std::abs(qBlue(a) - qBlue(b))
                + std::abs(qAlpha(a) - qAlpha(b));
        }
    }
    // Two renderers: edges differ a little.
    QVERIFY2(difference / (4 * size * size) < 4, qPrintable(QString::number(difference)));
}

QTEST_MAIN(EntryTest)
#include "EntryTest.moc"
