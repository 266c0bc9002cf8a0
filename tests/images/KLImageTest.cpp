#include "KLImage.h"

#include "PictureFiles.h"

#include <QTest>

#include <sys/stat.h>

using namespace frameflow;

class KLImageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void freshImageIsAllZero();
    void loadsUpright_data();
    void loadsUpright();
    void largeTurnedPictureReportsItsUprightSize();
    void otherOrientationNumbersDoNotTurn_data();
    void otherOrientationNumbersDoNotTurn();
    void orientationOfProperties_data();
    void orientationOfProperties();
    void transformOfProperties();
    void pictureWithoutPropertiesIsUpright();
    void fileThatIsNoPictureGivesNothing();
    void pictureInMemoryHasNoUrl();
    void failedOpeningKeepsBitmapAndUrl();
    void failedDecodingKeepsTheUrlAlone();
    void refreshReadsAChangedFile();
    void refreshKeepsTheBitmapOfAnUnchangedFile();
    void refreshOfAVanishedFileLosesTheBitmap();
    void redrawsUprightOnce();
    void opaqueAndTransparentFormats();
    void moviesByName_data();
    void moviesByName();
    void namesOfEveryKindAreOpened_data();
    void namesOfEveryKindAreOpened();
};

void KLImageTest::freshImageIsAllZero()
{
    const KLImage image;
    QVERIFY(image.getCGImage().isNull());
    QVERIFY(image.mURL().isEmpty());
    QVERIFY(!image.turnedImage());
    QCOMPARE(image.width(), 0U);
    QCOMPARE(image.height(), 0U);
    const QTransform transform = image.getTransform();
    for (const double component :
        {transform.m11(), transform.m12(), transform.m21(), transform.m22(), transform.dx(), transform.dy()}) {
        QCOMPARE(component, 0.0);
    }
}

void KLImageTest::loadsUpright_data()
{
    QTest::addColumn<int>("orientation");
    for (int orientation = 1; orientation <= 8; ++orientation) {
        QTest::addRow("%d", orientation) << orientation;
    }
}

void KLImageTest::loadsUpright()
{
    QFETCH(int, orientation);
    const TestFolder folder;
    folder.addFile("a.jpg", withExif(encoded(quartersPicture(), "jpeg"), exifBlock(orientation)));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.jpg"));
    QVERIFY(image);
    QCOMPARE(image->mURL(), folder.urlOf("a.jpg"));
    QCOMPARE(quarters(image->getCGImage(), 20), uprightQuarters(orientation));
    QCOMPARE(image->getTransform(), QTransform());
    QVERIFY(!image->turnedImage());
    const QSize size = orientation >= 5 ? quartersSize.transposed() : quartersSize;
    QCOMPARE(QSize(image->width(), image->height()), size);
    QCOMPARE(image->getCGImage().size(), size);
}

void KLImageTest::largeTurnedPictureReportsItsUprightSize()
{
    const TestFolder folder;
    folder.addFile("a.jpg", withExif(encoded(quartersPicture(QSize(4000, 3000)), "jpeg"), exifBlock(6)));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.jpg"));
    QVERIFY(image);
    QCOMPARE(image->getCGImage().size(), QSize(3000, 4000));
    QCOMPARE(image->width(), 3000U);
    QCOMPARE(image->height(), 4000U);
    QVERIFY(!image->turnedImage());
    QCOMPARE(quarters(image->getCGImage(), 20), uprightQuarters(6));
}

void KLImageTest::otherOrientationNumbersDoNotTurn_data()
{
    QTest::addColumn<int>("orientation");
    for (const int orientation : {0, 9, -1, 255}) {
        QTest::addRow("%d", orientation) << orientation;
    }
}

void KLImageTest::otherOrientationNumbersDoNotTurn()
{
    QFETCH(int, orientation);
    const TestFolder folder;
    folder.addFile("a.jpg", withExif(encoded(quartersPicture(), "jpeg"), exifBlock(orientation)));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.jpg"));
    QVERIFY(image);
    QCOMPARE(quarters(image->getCGImage(), 20), QByteArray("RGBY"));
}

void KLImageTest::orientationOfProperties_data()
{
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<int>("expected");
    QTest::newRow("missing") << QVariantMap() << 1;
    QTest::newRow("no number") << QVariantMap{{QStringLiteral("Orientation"), QStringLiteral("x")}} << 1;
    for (const int number : {0, 9, -1}) {
        QTest::addRow("%d", number) << QVariantMap{{QStringLiteral("Orientation"), number}} << 1;
    }
    for (int number = 1; number <= 8; ++number) {
        QTest::addRow("%d", number) << QVariantMap{{QStringLiteral("Orientation"), number}} << number;
    }
}

void KLImageTest::orientationOfProperties()
{
    QFETCH(QVariantMap, properties);
    QFETCH(int, expected);
    QCOMPARE(KLImage::orientation(properties), expected);
}

void KLImageTest::transformOfProperties()
{
    const QVariantMap properties{{QStringLiteral("Orientation"), 8}};
    QCOMPARE(KLImage::imageTransform(properties, QImage(40, 30, QImage::Format_RGB32)), QTransform(0, 1, -1, 0, 30, 0));
}

void KLImageTest::pictureWithoutPropertiesIsUpright()
{
    const TestFolder folder;
    folder.addFile("a.png", encoded(quartersPicture(), "png"));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.png"));
    QVERIFY(image);
    QCOMPARE(quarters(image->getCGImage(), 0), QByteArray("RGBY"));
    QCOMPARE(image->getTransform(), QTransform());
}

void KLImageTest::fileThatIsNoPictureGivesNothing()
{
    const TestFolder folder;
    folder.addFile("a.jpg", "This is a letter.\n");
    QVERIFY(!KLImage::imageWithURL(folder.urlOf("a.jpg")));
    QVERIFY(!KLImage::imageWithURL(folder.urlOf("missing.jpg")));
    QVERIFY(!KLImage::imageWithURL(FileUrl()));
}

void KLImageTest::pictureInMemoryHasNoUrl()
{
    const KLImagePtr image = KLImage::imageWithImage(quartersPicture());
    QVERIFY(image);
    QVERIFY(image->mURL().isEmpty());
    QCOMPARE(image->getCGImage().size(), quartersSize);
    QCOMPARE(image->width(), quint32(quartersSize.width()));
    QCOMPARE(image->getTransform().m11(), 0.0);
    QVERIFY(!image->turnedImage());
    QVERIFY(!KLImage::imageWithImage(QImage()));
}

void KLImageTest::failedOpeningKeepsBitmapAndUrl()
{
    const TestFolder folder;
    folder.addFile("a.png", encoded(quartersPicture(), "png"));
    folder.addFile("b.png", "no picture");
    KLImage image;
    image.loadFromURL(folder.urlOf("a.png"));
    const QImage bitmap = image.getCGImage();
    QVERIFY(!bitmap.isNull());
    for (const char* const name : {"b.png", "missing.png"}) {
        image.loadFromURL(folder.urlOf(name));
        QCOMPARE(image.getCGImage(), bitmap);
        QCOMPARE(image.mURL(), folder.urlOf("a.png"));
    }
    QCOMPARE(image.getTransform(), QTransform());
}

void KLImageTest::failedDecodingKeepsTheUrlAlone()
{
    const TestFolder folder;
    folder.addFile("a.png", encoded(quartersPicture(), "png").left(100));
    KLImage image;
    image.loadFromURL(folder.urlOf("a.png"));
    QVERIFY(image.getCGImage().isNull());
    QCOMPARE(image.mURL(), folder.urlOf("a.png"));
    QVERIFY(!image.turnedImage());
    QCOMPARE(image.width(), 0U);
}

void KLImageTest::refreshReadsAChangedFile()
{
    const TestFolder folder;
    folder.addFile("a.png", encoded(quartersPicture(), "png"));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.png"));
    QVERIFY(image);
    folder.addFile("a.png", encoded(quartersPicture(QSize(20, 30)), "png"));
    image->refresh();
    QCOMPARE(image->width(), 20U);
    QCOMPARE(image->getCGImage().size(), QSize(20, 30));
    QCOMPARE(image->mURL(), folder.urlOf("a.png"));
}

void KLImageTest::refreshKeepsTheBitmapOfAnUnchangedFile()
{
    const TestFolder folder;
    folder.addFile("a.png", encoded(quartersPicture(), "png"));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.png"));
    QVERIFY(image);
    const qint64 key = image->getCGImage().cacheKey();
    image->refresh();
    QCOMPARE(image->getCGImage().cacheKey(), key);
    folder.setModified("a.png", 1000000000);
    image->refresh();
    QVERIFY(image->getCGImage().cacheKey() != key);
    QCOMPARE(quarters(image->getCGImage(), 0), QByteArray("RGBY"));
}

void KLImageTest::refreshOfAVanishedFileLosesTheBitmap()
{
    const TestFolder folder;
    const QByteArray path = folder.addFile("a.png", encoded(quartersPicture(), "png"));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf("a.png"));
    QVERIFY(image);
    QVERIFY(std::remove(path.constData()) == 0);
    image->refresh();
    QVERIFY(image->getCGImage().isNull());
    QCOMPARE(image->width(), 0U);
    QCOMPARE(image->mURL(), folder.urlOf("a.png"));
}

void KLImageTest::redrawsUprightOnce()
{
    KLImage image(FileUrl(), quartersPicture(), 6);
    QVERIFY(image.turnedImage());
    QCOMPARE(image.getTransform(), QTransform(0, -1, 1, 0, 0, quartersSize.width()));
    image.loadImageWithTransform();
    QVERIFY(!image.turnedImage());
    QCOMPARE(image.getTransform(), QTransform());
    QCOMPARE(QSize(image.width(), image.height()), quartersSize.transposed());
    QCOMPARE(quarters(image.getCGImage(), 0), uprightQuarters(6));
    const qint64 key = image.getCGImage().cacheKey();
    image.loadImageWithTransform();
    QCOMPARE(image.getCGImage().cacheKey(), key);
}

void KLImageTest::opaqueAndTransparentFormats()
{
    const TestFolder folder;
    QImage transparent(4, 4, QImage::Format_ARGB32);
    transparent.fill(QColor(255, 0, 0, 128));
    folder.addFile("clear.png", encoded(transparent, "png"));
    transparent.fill(QColor(255, 0, 0, 255));
    folder.addFile("solid.png", encoded(transparent, "png"));
    const KLImagePtr clear = KLImage::imageWithURL(folder.urlOf("clear.png"));
    QVERIFY(clear);
    QCOMPARE(clear->getCGImage().format(), QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(qAlpha(clear->getCGImage().pixel(1, 1)), 128);
    const KLImagePtr solid = KLImage::imageWithURL(folder.urlOf("solid.png"));
    QVERIFY(solid);
    QCOMPARE(solid->getCGImage().format(), QImage::Format_RGB32);
}

void KLImageTest::moviesByName_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("isMovie");
    QTest::newRow("mp4") << QByteArray("/a/b.mp4") << true;
    QTest::newRow("capital") << QByteArray("/a/b.MOV") << true;
    QTest::newRow("transport stream") << QByteArray("/a/b.ts") << true;
    QTest::newRow("sound") << QByteArray("/a/b.mp3") << true;
    QTest::newRow("jpeg") << QByteArray("/a/b.jpg") << false;
    QTest::newRow("gif") << QByteArray("/a/b.gif") << false;
    QTest::newRow("GIF") << QByteArray("/a/b.GIF") << false;
    QTest::newRow("Gif, no movie type here") << QByteArray("/a/b.Gif") << false;
    QTest::newRow("play list") << QByteArray("/a/b.m3u") << false;
    QTest::newRow("no suffix") << QByteArray("/a/mp4") << false;
    QTest::newRow("none") << QByteArray() << false;
}

void KLImageTest::moviesByName()
{
    QFETCH(QByteArray, name);
    QFETCH(bool, isMovie);
    QCOMPARE(KLImage::isMovieURL(name.isEmpty() ? FileUrl() : FileUrl::fromPath(name)), isMovie);
}

void KLImageTest::namesOfEveryKindAreOpened_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("plain") << QByteArray("a.png");
    QTest::newRow("signs") << QByteArray("50%; a#b?c&d.png");
    QTest::newRow("percent escape") << QByteArray("a%20b.png");
    QTest::newRow("newline") << QByteArray("two\nlines.png");
    QTest::newRow("not UTF-8") << QByteArray("gr\xfc\xdf.png");
    QTest::newRow("emoji") << QByteArray("\xf0\x9f\x8c\x84 \xe2\x9d\xa4.png");
    QTest::newRow("leading dash") << QByteArray("-rf.png");
    QTest::newRow("spaces") << QByteArray(" a .png");
    QTest::newRow("colon") << QByteArray("msl:a.png");
}

void KLImageTest::namesOfEveryKindAreOpened()
{
    QFETCH(QByteArray, name);
    const TestFolder folder;
    folder.addFile(name, encoded(quartersPicture(), "png"));
    const KLImagePtr image = KLImage::imageWithURL(folder.urlOf(name));
    QVERIFY(image);
    QCOMPARE(image->mURL(), folder.urlOf(name));
    QVERIFY(!KLImage::thumbNailFromURL(folder.urlOf(name)).isNull());
}

QTEST_GUILESS_MAIN(KLImageTest)
#include "KLImageTest.moc"
