#include "FileTypes.h"

#include <QHash>
#include <QMimeDatabase>
#include <QSet>

#include <mutex>
#include <shared_mutex>
#include <utility>

namespace frameflow {

namespace {

// The longest suffix that can be a known one, and the most suffixes remembered: a folder of a million made-up suffixes
// must not fill the memory.
constexpr qsizetype longestSuffix = 16;
constexpr qsizetype mostRemembered = 1000;

// Types that the shared MIME database of Debian 12 lacks, or gives to something that is not a picture or a movie.
const QHash<QByteArray, QString>& ownTypes()
{
    static const QHash<QByteArray, QString> types{
        {"fts", QStringLiteral("application/fits")},
        {"hdr", QStringLiteral("image/vnd.radiance")},
        {"pic", QStringLiteral("image/vnd.radiance")},
        {"jfif", QStringLiteral("image/jpeg")},
        {"jpx", QStringLiteral("image/jpx")},
        {"bw", QStringLiteral("image/x-sgi")},
        {"rgb", QStringLiteral("image/x-sgi")},
        {"rgba", QStringLiteral("image/x-sgi")},
        {"ts", QStringLiteral("video/mp2t")},
    };
    return types;
}

// Suffixes that the database gives to types of movies, but whose files are not: indexes of discs, and a codec that the
// player lacks.
const QSet<QByteArray>& suffixesWithoutMovies()
{
    static const QSet<QByteArray> suffixes{"bdm", "bdmv", "bk2", "clpi", "cpi", "mpl", "mpls"};
    return suffixes;
}

// The raw formats of LibRaw 0.20 that cameras and their makers' programs write.
const QSet<QByteArray>& rawSuffixes()
{
    static const QSet<QByteArray> suffixes{"3fr", "ari", "arw", "bay", "cap", "cr2", "cr3", "crw", "dcr", "dcs", "dng",
        "drf", "eip", "erf", "fff", "gpr", "iiq", "k25", "kdc", "mdc", "mef", "mos", "mrw", "nef", "nrw", "orf", "pef",
        "ptx", "pxn", "r3d", "raf", "raw", "rw2", "rwl", "rwz", "sr2", "srf", "srw", "sti", "x3f"};
    return suffixes;
}

// Exactly what the decoders open: a type that merely derives from one of these is not shown.
const QSet<QString>& imageTypes()
{
    static const QSet<QString> types{
        QStringLiteral("application/fits"),
        QStringLiteral("image/avif"),
        QStringLiteral("image/bmp"),
        QStringLiteral("image/gif"),
        QStringLiteral("image/heif"),
        QStringLiteral("image/jp2"),
        QStringLiteral("image/jpeg"),
        QStringLiteral("image/jpm"),
        QStringLiteral("image/jpx"),
        QStringLiteral("image/jxl"),
        QStringLiteral("image/png"),
        QStringLiteral("image/svg+xml"),
        QStringLiteral("image/svg+xml-compressed"),
        QStringLiteral("image/tiff"),
        QStringLiteral("image/vnd.adobe.photoshop"),
        QStringLiteral("image/vnd.microsoft.icon"),
        QStringLiteral("image/vnd.radiance"),
        QStringLiteral("image/vnd.zbrush.pcx"),
        QStringLiteral("image/webp"),
        QStringLiteral("image/x-dds"),
        QStringLiteral("image/x-exr"),
        QStringLiteral("image/x-jp2-codestream"),
        QStringLiteral("image/x-portable-anymap"),
        QStringLiteral("image/x-portable-bitmap"),
        QStringLiteral("image/x-portable-graymap"),
        QStringLiteral("image/x-portable-pixmap"),
        QStringLiteral("image/x-rgb"),
        QStringLiteral("image/x-sgi"),
        QStringLiteral("image/x-tga"),
        QStringLiteral("image/x-xpixmap"),
    };
    return types;
}

// Exactly what the movie player opens, sound included. Play lists are left out on purpose: they name other files. So
// are scores (MIDI, tracker modules): what FFmpeg plays of them depends on how it was built.
const QSet<QString>& movieTypes()
{
    static const QSet<QString> types{
        QStringLiteral("audio/AMR"),
        QStringLiteral("audio/AMR-WB"),
        QStringLiteral("audio/aac"),
        QStringLiteral("audio/ac3"),
        QStringLiteral("audio/annodex"),
        QStringLiteral("audio/basic"),
        QStringLiteral("audio/flac"),
        QStringLiteral("audio/mp2"),
        QStringLiteral("audio/mp4"),
        QStringLiteral("audio/mpeg"),
        QStringLiteral("audio/ogg"),
        QStringLiteral("audio/vnd.dts"),
        QStringLiteral("audio/vnd.dts.hd"),
        QStringLiteral("audio/vnd.rn-realaudio"),
        QStringLiteral("audio/webm"),
        QStringLiteral("audio/x-aifc"),
        QStringLiteral("audio/x-aiff"),
        QStringLiteral("audio/x-ape"),
        QStringLiteral("audio/x-dff"),
        QStringLiteral("audio/x-dsf"),
        QStringLiteral("audio/x-flac+ogg"),
        QStringLiteral("audio/x-gsm"),
        QStringLiteral("audio/x-m4b"),
        QStringLiteral("audio/x-m4r"),
        QStringLiteral("audio/x-matroska"),
        QStringLiteral("audio/x-ms-wma"),
        QStringLiteral("audio/x-musepack"),
        QStringLiteral("audio/x-opus+ogg"),
        QStringLiteral("audio/x-speex"),
        QStringLiteral("audio/x-speex+ogg"),
        QStringLiteral("audio/x-tta"),
        QStringLiteral("audio/x-voc"),
        QStringLiteral("audio/x-vorbis+ogg"),
        QStringLiteral("audio/x-wav"),
        QStringLiteral("audio/x-wavpack"),
        QStringLiteral("video/3gpp"),
        QStringLiteral("video/3gpp2"),
        QStringLiteral("video/annodex"),
        QStringLiteral("video/dv"),
        QStringLiteral("video/mj2"),
        QStringLiteral("video/mp2t"),
        QStringLiteral("video/mp4"),
        QStringLiteral("video/mpeg"),
        QStringLiteral("video/ogg"),
        QStringLiteral("video/quicktime"),
        QStringLiteral("video/vnd.radgamettools.bink"),
        QStringLiteral("video/vnd.radgamettools.smacker"),
        QStringLiteral("video/vnd.rn-realvideo"),
        QStringLiteral("video/vnd.vivo"),
        QStringLiteral("video/webm"),
        QStringLiteral("video/x-flic"),
        QStringLiteral("video/x-flv"),
        QStringLiteral("video/x-matroska"),
        QStringLiteral("video/x-matroska-3d"),
        QStringLiteral("video/x-mjpeg"),
        QStringLiteral("video/x-ms-wmv"),
        QStringLiteral("video/x-msvideo"),
        QStringLiteral("video/x-nsv"),
        QStringLiteral("video/x-ogm+ogg"),
        QStringLiteral("video/x-sgi-movie"),
        QStringLiteral("video/x-theora+ogg"),
    };
    return types;
}

struct SuffixType
{
    QString mimeType;
    MediaKind kind = MediaKind::None;
};

SuffixType lookUp(const QByteArray& suffix)
{
    SuffixType type;
    const QByteArray lower = suffix.toLower();
    if (ownTypes().contains(lower)) {
        type.mimeType = ownTypes().value(lower);
    } else {
        static const QMimeDatabase database;
        const auto found
            = database.mimeTypeForFile(QStringLiteral("x.") + QString::fromUtf8(suffix), QMimeDatabase::MatchExtension);
        type.mimeType = found.isValid() && !found.isDefault() ? found.name() : QString();
    }
    if (rawSuffixes().contains(lower)) {
        type.kind = MediaKind::Image;
        if (type.mimeType.isEmpty()) {
            type.mimeType = QStringLiteral("image/x-dcraw");
        }
    } else if (imageTypes().contains(type.mimeType)) {
        type.kind = MediaKind::Image;
    } else if (movieTypes().contains(type.mimeType) && !suffixesWithoutMovies().contains(lower)) {
        type.kind = MediaKind::Movie;
    }
    return type;
}

SuffixType typeOfSuffix(QByteArrayView view)
{
    if (view.isEmpty() || view.size() > longestSuffix) {
        return {};
    }
    static std::shared_mutex lock; // not Qt's: the thread sanitizer does not see what those order
    static QHash<QByteArray, SuffixType> remembered;
    const QByteArray raw = QByteArray::fromRawData(view.data(), view.size());
    {
        const std::shared_lock reading(lock);
        const auto it = remembered.constFind(raw);
        if (it != remembered.constEnd()) {
            return *it;
        }
    }
    const QByteArray suffix = view.toByteArray();
    auto type = lookUp(suffix);
    const std::unique_lock writing(lock);
    if (remembered.size() < mostRemembered) {
        remembered.insert(suffix, type);
    }
    return type;
}

} // namespace

QString mimeTypeForName(QByteArrayView fileName)
{
    return typeOfSuffix(extensionOfName(fileName)).mimeType;
}

MediaKind mediaKindForName(QByteArrayView fileName)
{
    return typeOfSuffix(extensionOfName(fileName)).kind;
}

QStringList displayableMimeTypes()
{
    QSet<QString> types = imageTypes() + movieTypes();
    for (const QByteArray& suffix : rawSuffixes()) {
        const QString type = typeOfSuffix(suffix).mimeType;
        if (type.startsWith(QLatin1String("image/"))) {
            types.insert(type);
        }
    }
    QStringList sorted = types.values();
    sorted.sort();
    return sorted;
}

bool isRawName(QByteArrayView fileName)
{
    return rawSuffixes().contains(extensionOfName(fileName).toByteArray().toLower());
}

} // namespace frameflow
