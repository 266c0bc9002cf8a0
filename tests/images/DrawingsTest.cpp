#include "KLImage.h"
#include "PictureFiles.h"

#include <QTest>

using namespace frameflow;

class DrawingsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sizes_data();
    void sizes();
    void outsidePicturesAreNotLoaded_data();
    void outsidePicturesAreNotLoaded();
    void insidePicturesAreDrawn();
    void styleSheetsAreNotLoaded();
    void styleInsideIsApplied();
    void outsideEntitiesAreNotLoaded();
    void entitiesInsideAreExpanded();
    void textIsDrawn();
    void referencesInsideWork();
    void badDrawings_data();
    void badDrawings();
    void isDrawnSharpForAThumbnail();

private:
    KLImagePtr load(const QByteArray& text)
    {
        mFolder.addFile("a.svg", text);
        return KLImage::imageWithURL(mFolder.urlOf("a.svg"));
    }

    TestFolder mFolder;
};

namespace {

QByteArray svg(const QByteArray& body, const QByteArray& attributes = R"(width="40" height="30")")
{
    return R"(<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" )" + attributes + ">"
        + body + "</svg>";
}

} // namespace

void DrawingsTest::sizes_data()
{
    QTest::addColumn<QByteArray>("attributes");
    QTest::addColumn<QSize>("expected");
    QTest::newRow("pixels") << QByteArray(R"(width="40" height="30")") << QSize(40, 30);
    QTest::newRow("view box only") << QByteArray(R"(viewBox="0 0 64 32")") << QSize(64, 32);
    QTest::newRow("view box and share") << QByteArray(R"(width="100%" height="100%" viewBox="0 0 64 32")")
                                        << QSize(64, 32);
    QTest::newRow("as large as what it shows") << QByteArray() << QSize(90, 70);
}

void DrawingsTest::sizes()
{
    QFETCH(QByteArray, attributes);
    QFETCH(QSize, expected);
    const KLImagePtr image = load(svg(R"(<rect width="90" height="70" fill="#f00"/>)", attributes));
    QVERIFY(image);
    QCOMPARE(QSize(image->width(), image->height()), expected);
    QCOMPARE(image->getCGImage().size(), expected);
}

void DrawingsTest::outsidePicturesAreNotLoaded_data()
{
    QTest::addColumn<QByteArray>("reference");
    QTest::newRow("beside") << QByteArray("outside.png");
    QTest::newRow("path") << mFolder.pathOf("outside.png");
    QTest::newRow("file URL") << "file://" + mFolder.pathOf("outside.png");
    QTest::newRow("spaces in front") << "  " + mFolder.pathOf("outside.png");
    QTest::newRow("resource") << QByteArray(":/x.png");
}

void DrawingsTest::outsidePicturesAreNotLoaded()
{
    QFETCH(QByteArray, reference);
    mFolder.addFile("outside.png", encoded(quartersPicture(QSize(40, 30)), "png"));
    for (const QByteArray attribute : {"xlink:href", "href", "x:href"}) {
        const KLImagePtr image
            = load(svg("<rect width='40' height='30' fill='#888'/><image x='0' y='0' width='40' height='30' "
                + attribute + "='" + reference + "' xmlns:x='http://www.w3.org/1999/xlink'/>"));
        QVERIFY(image);
        QCOMPARE(image->getCGImage().pixelColor(5, 5), QColor(0x88, 0x88, 0x88));
    }
}

void DrawingsTest::insidePicturesAreDrawn()
{
    const QByteArray data = encoded(quartersPicture(QSize(40, 30)), "png").toBase64();
    const KLImagePtr image
        = load(svg("<image x='0' y='0' width='40' height='30' xlink:href='data:image/png;base64," + data + "'/>"));
    QVERIFY(image);
    QCOMPARE(quarters(image->getCGImage(), 4), QByteArray("RGBY"));
}

void DrawingsTest::styleSheetsAreNotLoaded()
{
    const QByteArray sheet = mFolder.addFile("outside.css", "rect { fill: #00ff00 }");
    const KLImagePtr image = load("<?xml version='1.0'?><?xml-stylesheet type='text/css' href='" + sheet + "'?>"
        + svg("<rect width='40' height='30' fill='#f00'/>"));
    QVERIFY(image);
    QCOMPARE(image->getCGImage().pixelColor(5, 5), QColor(255, 0, 0));
}

void DrawingsTest::styleInsideIsApplied()
{
    const KLImagePtr image = load(svg("<style>rect { fill: #00ff00 }</style><rect width='40' height='30'/>"));
    QVERIFY(image);
    QCOMPARE(image->getCGImage().pixelColor(5, 5), QColor(0, 255, 0));
}

void DrawingsTest::outsideEntitiesAreNotLoaded()
{
    const QByteArray secret = mFolder.addFile("secret.txt", "<rect width='40' height='30' fill='#00ff00'/>");
    const KLImagePtr image = load("<!DOCTYPE svg [<!ENTITY e SYSTEM 'file://" + secret + "'>]>"
        + svg("<rect width='40' height='30' fill='#f00'/>&e;"));
    QVERIFY(!image || image->getCGImage().pixelColor(5, 5) == QColor(255, 0, 0));
}

void DrawingsTest::entitiesInsideAreExpanded()
{
    const KLImagePtr image
        = load("<!DOCTYPE svg [<!ENTITY colour '#00ff00'>]>" + svg("<rect width='40' height='30' fill='&colour;'/>"));
    QVERIFY(image);
    QCOMPARE(image->getCGImage().pixelColor(5, 5), QColor(0, 255, 0));
}

void DrawingsTest::textIsDrawn()
{
    const KLImagePtr image = load(svg("<text x='2' y='25' font-size='24' fill='#fff'>M</text>"));
    QVERIFY(image);
    QCOMPARE(image->getCGImage().size(), QSize(40, 30));
}

void DrawingsTest::referencesInsideWork()
{
    const KLImagePtr image
        = load(svg("<defs><linearGradient id='g'><stop offset='0' stop-color='#0f0'/></linearGradient>"
                   "<rect id='r' width='40' height='30' fill='url(#g)'/></defs><use xlink:href='#r'/>"));
    QVERIFY(image);
    QCOMPARE(image->getCGImage().pixelColor(5, 5), QColor(0, 255, 0));
}

void DrawingsTest::badDrawings_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("not closed") << QByteArray("<svg xmlns='http://www.w3.org/2000/svg' width='4' height='4'><rect/>");
    QTest::newRow("no drawing") << QByteArray("<html/>");
    QTest::newRow("text") << QByteArray("Hello");
    QTest::newRow("broken packing") << QByteArray("\x1f\x8b\x08\0\0\0\0\0", 8);
    QTest::newRow("nothing in it") << svg("", "");
    QTest::newRow("no width") << svg("", "width='0' height='5'");
    QByteArray laughs = "<!DOCTYPE svg [<!ENTITY a0 'ha'>";
    for (int i = 1; i < 40; ++i) {
        const QByteArray before = "&a" + QByteArray::number(i - 1) + ";";
        laughs += "<!ENTITY a" + QByteArray::number(i) + " '" + before + before + "'>";
    }
    QTest::newRow("entities that grow without end") << laughs + "]>" + svg("<text>&a39;</text>");
    QTest::newRow("entity within itself") << "<!DOCTYPE svg [<!ENTITY a '&a;'>]>" + svg("<text>&a;</text>");
    QByteArray deep;
    for (int i = 0; i < 200000; ++i) {
        deep += "<g>";
    }
    QTest::newRow("deep") << svg(deep + QByteArray(deep).replace("<g>", "</g>"));
}

void DrawingsTest::badDrawings()
{
    QFETCH(QByteArray, text);
    QVERIFY(!load(text));
}

void DrawingsTest::isDrawnSharpForAThumbnail()
{
    const KLImagePtr image = load(svg("<rect width='40' height='30' fill='#f00'/>", "width='60000' height='30000'"));
    QVERIFY(image);
    QCOMPARE(QSize(image->width(), image->height()), QSize(60000, 30000));
    QVERIFY(qint64(image->getCGImage().width()) * image->getCGImage().height() <= 64000000);
    QCOMPARE(KLImage::thumbNailFromURL(mFolder.urlOf("a.svg")).size(), QSize(300, 150));
}

QTEST_MAIN(DrawingsTest)
#include "DrawingsTest.moc"
