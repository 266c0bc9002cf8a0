#include "FileTypes.h"

#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

#include <malloc.h>

using namespace frameflow;

namespace {

// Names are separated by blanks.
void addRows(const char* group, const char* suffixes, MediaKind kind)
{
    const auto list = QByteArray(suffixes).split(' ');
    for (const QByteArray& suffix : list) {
        QTest::addRow("%s %s", group, suffix.constData()) << suffix << kind;
    }
}

// Of what malloc has given out; the sanitizers' own allocators do not tell.
qint64 allocatedKilobytes()
{
    return static_cast<qint64>(mallinfo2().uordblks / 1024);
}

} // namespace

class FileTypesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void kindOfASuffix_data();
    void kindOfASuffix();
    void namesWithoutASuffixAreNone_data();
    void namesWithoutASuffixAreNone();
    void mimeTypes_data();
    void mimeTypes();
    void rawNames();
    void remembersABoundedNumberOfSuffixes();
    void answersTheSameFromManyThreads();
};

void FileTypesTest::kindOfASuffix_data()
{
    QTest::addColumn<QByteArray>("suffix");
    QTest::addColumn<MediaKind>("kind");
    addRows("picture",
        "jpg jpeg jpe jfif png gif webp bmp dib tif tiff svg svgz ico tga icb tpic vda pnm pbm pgm ppm xpm",
        MediaKind::Image);
    addRows("picture",
        "heic heif hif avif avifs jxl jp2 jpg2 jpf jpx jpm j2k j2c jpc psd exr hdr pic fits fit fts dds pcx sgi rgb "
        "rgba bw",
        MediaKind::Image);
    addRows("raw",
        "3fr arw bay cap cr2 cr3 crw dcr dcs dng drf eip erf fff gpr iiq k25 kdc mdc mef mos mrw nef nrw orf pef "
        "ptx pxn r3d raf raw rw2 rwl rwz sr2 srf srw sti x3f",
        MediaKind::Image);
    addRows("movie",
        "mp4 m4v f4v lrv mov qt moov mkv mk3d webm avi divx avf wmv flv mpg mpeg mpe vob ogv ogm axv 3gp 3gpp 3g2 3gp2 "
        "ts "
        "m2ts mts m2t dv nsv flc fli mjpeg mjpg mj2 mjp2 rv rvx viv vivo movie bik smk",
        MediaKind::Movie);
    addRows("sound",
        "mp3 mpga mp2 m4a f4a m4b f4b m4r aac adts ac3 dts dtshd flac ogg oga opus axa spx wav aif aiff aifc aiffc wma "
        "mka "
        "ape mpc mpp tta wv wvp amr awb 3ga au snd voc gsm dsf dff ra rax",
        MediaKind::Movie);
    addRows("document", "pdf eps ps epsi ai djvu txt md html xml odt doc docx json zip gz tar xcf kra ora sh cpp ttf",
        MediaKind::None);
    addRows("play list",
        "m3u m3u8 vlc m4u mxu pls xspf asx wax wvx wmx ram smil cue wpl pla amz mpls mpl cpi clpi bdm bdmv",
        MediaKind::None);
    addRows("score", "mid midi kar mod it s3m xm stm med sid", MediaKind::None);
    addRows("sound that cannot be played", "wvc aax xmf psf bk2", MediaKind::None);
    addRows("unknown", "xyzzy jpgx jp 0 ~ jpg~ part crdownload", MediaKind::None);
    QTest::newRow("long") << QByteArray(10000, 'j') << MediaKind::None;
    QTest::newRow("not UTF-8") << QByteArray("\xFF\xFE") << MediaKind::None;
    QTest::newRow("pattern characters") << QByteArray("*") << MediaKind::None;
    QTest::newRow("pattern") << QByteArray("[jJ]pg") << MediaKind::None;
}

void FileTypesTest::kindOfASuffix()
{
    QFETCH(QByteArray, suffix);
    QFETCH(MediaKind, kind);
    QCOMPARE(mediaKindForName("a." + suffix), kind);
    QCOMPARE(mediaKindForName("a." + suffix), kind); // from memory
    QCOMPARE(mediaKindForName("\xFF;%#?\n." + suffix), kind);
    QCOMPARE(mediaKindForName("a.txt." + suffix), kind);
    QCOMPARE(mediaKindForName("A." + suffix.toUpper()), kind);
}

void FileTypesTest::namesWithoutASuffixAreNone_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no dot") << QByteArray("jpg");
    QTest::newRow("hidden") << QByteArray(".jpg");
    QTest::newRow("trailing dot") << QByteArray("a.jpg.");
    QTest::newRow("a dot") << QByteArray(".");
    QTest::newRow("README") << QByteArray("README");
}

void FileTypesTest::namesWithoutASuffixAreNone()
{
    QFETCH(QByteArray, name);
    QCOMPARE(mediaKindForName(name), MediaKind::None);
    QCOMPARE(mimeTypeForName(name), QString());
    QVERIFY(!isRawName(name));
}

void FileTypesTest::mimeTypes_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("type");
    QTest::newRow("jpg") << QByteArray("a.jpg") << QStringLiteral("image/jpeg");
    QTest::newRow("JPG") << QByteArray("a.JPG") << QStringLiteral("image/jpeg");
    QTest::newRow("ts is a movie, not a translation") << QByteArray("a.ts") << QStringLiteral("video/mp2t");
    QTest::newRow("radiance") << QByteArray("a.hdr") << QStringLiteral("image/vnd.radiance");
    QTest::newRow("text") << QByteArray("a.txt") << QStringLiteral("text/plain");
    QTest::newRow("a raw suffix that the database lacks") << QByteArray("a.iiq") << QStringLiteral("image/x-dcraw");
    QTest::newRow("unknown") << QByteArray("a.xyzzy") << QString();
    QTest::newRow("long") << "a." + QByteArray(17, 'x') << QString();
}

void FileTypesTest::mimeTypes()
{
    QFETCH(QByteArray, name);
    QTEST(mimeTypeForName(name), "type");
}

void FileTypesTest::rawNames()
{
    QVERIFY(isRawName("a.cr2"));
    QVERIFY(isRawName("a.NEF"));
    QVERIFY(isRawName("a.b.Dng"));
    QVERIFY(!isRawName("a.jpg"));
    QVERIFY(!isRawName("cr2"));
    QVERIFY(!isRawName(".cr2"));
}

void FileTypesTest::remembersABoundedNumberOfSuffixes()
{
    const auto ask = [](int from, int to) {
        for (int number = from; number < to; ++number) {
            if (mediaKindForName("a.zz" + QByteArray::number(number)) != MediaKind::None) {
                return false;
            }
        }
        return true;
    };
    QVERIFY(ask(0, 2000));
    const auto before = allocatedKilobytes();
    QVERIFY(ask(2000, 60000));
    // Remembered all the same, 58000 suffixes would take some 8 MiB.
    QVERIFY2(allocatedKilobytes() - before < 1000, qPrintable(QString::number(allocatedKilobytes() - before)));
    QCOMPARE(mediaKindForName("a.png"), MediaKind::Image);
    QCOMPARE(mediaKindForName("a.PnG"), MediaKind::Image);
}

void FileTypesTest::answersTheSameFromManyThreads()
{
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&wrong] {
            for (int round = 0; round < 500; ++round) {
                const QByteArray made = "a.q" + QByteArray::number(round);
                wrong += mediaKindForName(made) != MediaKind::None;
                wrong += mediaKindForName("a.jPeG") != MediaKind::Image;
                wrong += mediaKindForName("a.Mp4") != MediaKind::Movie;
                wrong += mimeTypeForName("a.TiFF") != QLatin1String("image/tiff");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    QCOMPARE(wrong.load(), 0);
}

QTEST_GUILESS_MAIN(FileTypesTest)
#include "FileTypesTest.moc"
