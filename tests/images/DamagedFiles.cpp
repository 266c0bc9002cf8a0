#include "DamagedFiles.h"

#include "PictureFiles.h"
#include "TypeSamples.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <random>

namespace frameflow {

namespace {

using Random = std::mt19937; // its numbers are the same everywhere

int below(Random& random, qsizetype limit)
{
    return limit > 0 ? static_cast<int>(random() % static_cast<quint32>(limit)) : 0;
}

QByteArray cutShort(QByteArray bytes, Random& random)
{
    bytes.truncate(below(random, bytes.size()));
    return bytes;
}

QByteArray withWrongBytes(QByteArray bytes, Random& random)
{
    for (int i = 0; i < 20 && !bytes.isEmpty(); ++i) {
        bytes[below(random, bytes.size())] = static_cast<char>(random());
    }
    return bytes;
}

// Where the numbers are that say how large everything is.
QByteArray withWrongHeader(QByteArray bytes, Random& random)
{
    const qsizetype header = std::min<qsizetype>(bytes.size(), 128);
    const char value = random() % 2 == 0 ? '\xff' : '\0';
    const int start = 8 + below(random, header - 8);
    for (int i = start; i < std::min<qsizetype>(start + 4, bytes.size()); ++i) {
        bytes[i] = value;
    }
    return bytes;
}

QByteArray withAPartLeftOut(QByteArray bytes, Random& random)
{
    const int start = below(random, bytes.size());
    return bytes.remove(start, 1 + below(random, bytes.size() / 4 + 1));
}

QByteArray withAPartTwice(QByteArray bytes, Random& random)
{
    const int start = below(random, bytes.size());
    return bytes.insert(start, bytes.mid(start, 1 + below(random, bytes.size() / 4 + 1)));
}

constexpr std::array damages{&cutShort, &withWrongBytes, &withWrongHeader, &withAPartLeftOut, &withAPartTwice};

QByteArray contentsOf(const QByteArray& path)
{
    QFile file(QString::fromUtf8(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

DamagedFiles addDamagedFiles(const TestFolder& folder, int count)
{
    DamagedFiles files;
    const TestFolder source;
    const QByteArray original = source.addFile("in.png", encoded(quartersPicture(), "png"));
    for (const TypeSample& sample : typeSamples()) {
        // Each with a number: of files that differ in the suffix alone a show may leave out one.
        const QByteArray name = "good " + QByteArray::number(files.good.size()) + ' ' + sample.name;
        if (!makeTypeSample(sample, original, folder.pathOf(name))) {
            qFatal("cannot make %s", sample.name);
        }
        files.good.append(name);
    }
    const QByteArray raw = "good raw.dng";
    folder.addFile(raw, cameraRaw({96, 64}, 6));
    files.good.append(raw);

    Random random(20);
    for (int i = 0; i < count; ++i) {
        const QByteArray& good = files.good.at(i % files.good.size());
        const QByteArray bytes = contentsOf(folder.pathOf(good));
        const auto damage = damages.at(static_cast<size_t>(i / files.good.size()) % damages.size());
        // Among the good ones in the order of names.
        const QByteArray suffix = good.mid(good.lastIndexOf('.'));
        const QByteArray name = good.left(good.lastIndexOf('.')) + " damaged " + QByteArray::number(i) + suffix;
        folder.addFile(name, damage(bytes, random));
        files.damaged.append(name);
    }
    return files;
}

} // namespace frameflow
