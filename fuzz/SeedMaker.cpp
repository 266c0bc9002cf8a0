// fuzz_seeds FOLDER: writes the first inputs of each target into a folder of its name. Made by this tree's own makers
// of pictures and movies, and by the tools that tests use.

#include "Bookmark.h"
#include "BusRequest.h"
#include "FileUrls.h"
#include "MovieFiles.h"
#include "PictureFiles.h"
#include "SettingsText.h"
#include "TypeSamples.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QGuiApplication>

#include <zlib.h>

using namespace frameflow;

namespace {

// The numbers that a target takes from an input's end.
const QByteArray noNumbers(8, '\0');

class Seeds
{
public:
    explicit Seeds(const QByteArray& folder) : mFolder(folder) { }

    void add(const char* target, const QByteArray& contents)
    {
        const QByteArray folder = mFolder + '/' + target;
        QDir().mkpath(QString::fromUtf8(folder));
        QFile file(QString::fromUtf8(folder + "/seed-" + QByteArray::number(mCount++)));
        if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size()) {
            qFatal("cannot write %s", qPrintable(file.fileName()));
        }
    }

private:
    const QByteArray mFolder;
    int mCount = 0;
};

void addPictures(Seeds& seeds)
{
    const TestFolder folder;
    const QByteArray original = folder.addFile("in.png", encoded(quartersPicture({24, 16}), "png"));
    for (const TypeSample& sample : typeSamples()) {
        QFile file(QString::fromUtf8(folder.pathOf(sample.name)));
        if (!makeTypeSample(sample, original, folder.pathOf(sample.name)) || !file.open(QIODevice::ReadOnly)) {
            qFatal("cannot make %s", sample.name);
        }
        const QByteArray contents = file.readAll();
        for (const char* const target : {"fuzz_headers", "fuzz_pictures", "fuzz_extra_pictures"}) {
            seeds.add(target, contents + noNumbers);
        }
    }
    const QByteArray jpeg = encoded(quartersPicture({24, 16}), "jpg");
    for (const int orientation : {1, 6, -3}) {
        const QByteArray file = withExif(jpeg, exifBlock(orientation, jpeg, orientation == 6));
        seeds.add("fuzz_stored_thumbnails", file + noNumbers);
        seeds.add("fuzz_pictures", file + QByteArray(8, '\1'));
    }
    seeds.add("fuzz_extra_pictures", cameraRaw({64, 48}, 6) + noNumbers);
    seeds.add("fuzz_stored_thumbnails", cameraRaw({64, 48}, 6, jpeg) + noNumbers);
}

QByteArray packed(QByteArray text)
{
    QByteArray result(text.size() + 1024, '\0');
    z_stream stream = {};
    constexpr int gzip = 16 + MAX_WBITS;
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, gzip, 8, Z_DEFAULT_STRATEGY);
    stream.next_in = reinterpret_cast<Bytef*>(text.data());
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    deflate(&stream, Z_FINISH);
    result.truncate(static_cast<qsizetype>(stream.total_out));
    deflateEnd(&stream);
    return result;
}

void addDrawings(Seeds& seeds)
{
    const QByteArray start = R"(<svg xmlns="http://www.w3.org/2000/svg" width="24" height="16">)";
    const QByteArray drawings[] = {start + R"svg(<rect width="9" height="9" fill="#f00"/></svg>)svg",
        start + R"svg(<defs><linearGradient id="g"><stop offset="1"/></linearGradient></defs>)svg"
            + R"svg(<path d="M1 1L9 9z" fill="url(#g)"/></svg>)svg",
        start + R"svg(<image href="a.png"/><text x="1" y="9">a</text>)svg"
            + R"svg(<g transform="scale(2)"><use href="#g"/></g></svg>)svg"};
    for (const QByteArray& drawing : drawings) {
        seeds.add("fuzz_drawings", drawing + noNumbers);
        seeds.add("fuzz_drawings", packed(drawing) + noNumbers.left(7) + '\1');
        seeds.add("fuzz_headers", drawing + noNumbers);
    }
}

void addMovies(Seeds& seeds)
{
    const MovieFiles files;
    const QByteArray frames = "-f lavfi -i testsrc=size=32x24:rate=5:duration=0.6 ";
    const std::pair<const char*, QByteArray> movies[]
        = {{"a.mp4", frames + "-c:v mpeg4"}, {"a.mkv", frames + "-c:v mpeg4"}, {"a.webm", frames + "-c:v libvpx"},
            {"a.avi", frames + "-c:v mjpeg"}, {"a.mpg", frames + "-r 25 -c:v mpeg1video"},
            {"a.flv", frames + "-c:v flv"}, {"a.ogv", frames + "-c:v libtheora"},
            {"a.ts", frames + "-c:v mpeg2video -r 25"}, {"a.mp3", "-f lavfi -i sine=440:duration=0.3"},
            {"a.wav", "-f lavfi -i sine=440:duration=0.1"}, {"a.flac", "-f lavfi -i sine=440:duration=0.1"}};
    for (const auto& [name, options] : movies) {
        if (!files.make(name, options)) {
            qFatal("cannot make %s", name);
        }
        seeds.add("fuzz_movies", files.contentsOf(name) + noNumbers);
        seeds.add("fuzz_movies", files.contentsOf(name) + QByteArray(8, '\1'));
    }
}

void addTexts(Seeds& seeds, const QByteArray& folder)
{
    seeds.add("fuzz_bookmarks", bookmarkForFolder(FileUrl::fromPath(QByteArray("/usr"))));
    seeds.add("fuzz_bookmarks", bookmarkForFolder(FileUrl::fromPath(QByteArray("/usr/lib"))).replace("/lib", "/gone"));
    for (const char* const text : {"1.2.3", "2.0\n", "<html>10.4.11</html>", "-1.+2.99999999999", "..", ""}) {
        seeds.add("fuzz_versions", text);
    }
    for (const char* const text : {"file:///a%20b/c.jpg", "/a/./b/../c 10.JPEG", "file://localhost/%ff\nfile:/x",
             "a.cr2", "frameflow-1-2-host-3_TIME123456"}) {
        seeds.add("fuzz_names", text);
    }
    for (const char* const file : {"UserDefaults.plist", "Cursors.plist"}) {
        QFile list(QStringLiteral(FRAMEFLOW_RESOURCES "/") + QLatin1String(file));
        if (!list.open(QIODevice::ReadOnly)) {
            qFatal("no %s", file);
        }
        seeds.add("fuzz_property_lists", list.readAll());
    }
    seeds.add("fuzz_property_lists",
        "<plist><array><data>AAAA</data><date>2020-01-01T00:00:00Z</date><real>1e9</real><true/></array></plist>");
    seeds.add("fuzz_desktop_entries",
        "[Desktop Entry]\nType=Application\nName=A\nName[de]=B\nExec=sh -c "
        "%F\nIcon=/a.png\nMimeType=image/png;video/*;\n");
    const QString settings = QString::fromUtf8(folder + "/settings");
    const QVariantMap values{{QStringLiteral("sort"), QStringLiteral("1e400")},
        {QStringLiteral("WindowFrame"), QStringLiteral("{{1, 2}, {3, 4}}")},
        {QStringLiteral("a"), QByteArray("\xff\0b", 3)},
        {QStringLiteral("b"), QVariantList{QByteArray("x"), QByteArray("y")}},
        {QStringLiteral("c"), QDateTime::currentDateTimeUtc()}};
    QFile written(settings);
    if (!writeSettingsText(settings, values) || !written.open(QIODevice::ReadOnly)) {
        qFatal("no settings");
    }
    seeds.add("fuzz_settings", written.readAll());
    written.remove();
}

void addCalls(Seeds& seeds)
{
    const auto add = [&](GVariant* parameters, char method) {
        GVariant* const own = g_variant_ref_sink(parameters);
        const QByteArray bytes(static_cast<const char*>(g_variant_get_data(own)), qsizetype(g_variant_get_size(own)));
        seeds.add("fuzz_bus_calls", bytes + method + '\0');
        g_variant_unref(own);
    };
    const QList<FileUrl> files{FileUrl::fromPath(QByteArray("/a b.jpg")), FileUrl::fromPath(QByteArray("/c"))};
    add(BusRequest::parameters(files, {"a_TIME1", "b"}), 0);
    add(g_variant_new_parsed("('next', [<1>, <'a'>], {'desktop-startup-id': <'x'>})"), 1);
    add(BusRequest::parameters({}, {"a", "b"}), 2);
    GDBusMessage* const call = g_dbus_message_new_method_call(nullptr, BusObject::path, BusObject::interface, "Open");
    g_dbus_message_set_body(call, BusRequest::parameters(files, {"a", "b"}));
    g_dbus_message_set_serial(call, 1);
    gsize length = 0;
    guchar* const blob = g_dbus_message_to_blob(call, &length, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
    seeds.add("fuzz_bus_calls", QByteArray(reinterpret_cast<const char*>(blob), qsizetype(length)) + '\1');
    g_free(blob);
    g_object_unref(call);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "minimal");
    const QGuiApplication application(argc, argv);
    if (argc < 2) {
        qFatal("fuzz_seeds FOLDER");
    }
    Seeds seeds(argv[1]);
    addPictures(seeds);
    addDrawings(seeds);
    addMovies(seeds);
    addTexts(seeds, argv[1]);
    addCalls(seeds);
    for (const char* const target : {"fuzz_decoder_answers", "fuzz_decoder_process"}) {
        for (char filling = 0; filling < 4; ++filling) {
            seeds.add(target, QByteArray(96, filling)); // packets come from an honest answer
        }
    }
    return 0;
}
