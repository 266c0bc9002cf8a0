#include "HostileFiles.h"

#include "MovieFiles.h"
#include "PictureFiles.h"
#include "TypeSamples.h"

#include <QFile>

namespace frameflow {

namespace {

HostileFiles makeSamples()
{
    const TestFolder folder;
    const QByteArray original = folder.addFile("in.png", encoded(quartersPicture(), "png"));
    HostileFiles files;
    for (const TypeSample& sample : typeSamples()) {
        QFile file(QString::fromUtf8(folder.pathOf(sample.name)));
        if (!makeTypeSample(sample, original, folder.pathOf(sample.name)) || !file.open(QIODevice::ReadOnly)) {
            qFatal("cannot make %s", sample.name);
        }
        files.append({sample.name, file.readAll()});
    }
    files.append({"raw.dng", cameraRaw({96, 64}, 6)});
    return files;
}

// One of every type.
const HostileFiles& samples()
{
    static const HostileFiles files = makeSamples();
    return files;
}

QByteArray stemOf(const QByteArray& name)
{
    return name.left(name.lastIndexOf('.'));
}

QByteArray suffixOf(const QByteArray& name)
{
    return name.mid(name.lastIndexOf('.'));
}

QByteArray sampleNamed(const QByteArray& name)
{
    for (const HostileFile& sample : samples()) {
        if (sample.name == name) {
            return sample.contents;
        }
    }
    qFatal("no sample %s", name.constData());
}

} // namespace

HostileFiles cutFiles()
{
    HostileFiles files;
    const auto cut = [&](const HostileFile& sample, qsizetype length) {
        files.append({"cut at " + QByteArray::number(length) + ' ' + stemOf(sample.name) + suffixOf(sample.name),
            sample.contents.left(length)});
    };
    for (const HostileFile& sample : samples()) {
        for (const qsizetype length :
            {sample.contents.size() / 8, sample.contents.size() / 2, sample.contents.size() - 1}) {
            cut(sample, length);
        }
    }
    constexpr int places = 12;
    for (const char* const name : {"a.jpg", "a.png", "a.tif"}) {
        const QByteArray contents = sampleNamed(name);
        for (int i = 0; i < places; ++i) {
            cut({QByteArray("again ") + name, contents}, 2 + contents.size() * i / (places + 1));
        }
    }
    for (const qsizetype length : {0, 1, 2}) {
        cut({"almost nothing.jpg", sampleNamed("a.jpg")}, length);
    }
    return files;
}

HostileFiles mistakenFiles()
{
    HostileFiles files;
    const char* const types[] = {"a.jpg", "a.png", "a.gif", "a.webp", "a.bmp", "a.tif", "a.heic", "a.jxl", "a.jp2",
        "a.psd", "a.exr", "a.hdr", "a.fits", "a.dds", "a.pcx", "a.sgi"};
    const qsizetype count = std::size(types);
    for (qsizetype i = 0; i < count; ++i) {
        const QByteArray name = types[i];
        const QByteArray contents = sampleNamed(name);
        const QByteArray other = types[(i + 5) % count];
        const QByteArray start = contents.left(16);
        files.append(
            {"named as " + suffixOf(other).mid(1) + " but " + suffixOf(name).mid(1) + suffixOf(other), contents});
        files.append({"start of " + suffixOf(name).mid(1) + " alone, then zeros" + suffixOf(name),
            start + QByteArray(5000, '\0')});
        files.append({"start of " + suffixOf(name).mid(1) + " alone, then ones" + suffixOf(name),
            start + QByteArray(5000, '\xff')});
        files.append({"all numbers wrong" + suffixOf(name),
            start + contents.mid(16, 112).replace('\0', '\xff') + contents.mid(128)});
    }
    files.append({"zeros.jpg", QByteArray(100000, '\0')});
    files.append({"text.png", QByteArray("<html><body>not found</body></html>\n")});
    files.append({"program.jpg",
        QByteArray("\x7f"
                   "ELF\2\1\1",
            7)
            + QByteArray(1000, 'x')});
    files.append({"script.svg", QByteArray("#!/bin/sh\necho <svg\n")});
    files.append(
        {"magick script.msl.jpg", QByteArray("<?xml version='1.0'?><image><read filename='/etc/passwd'/></image>")});
    files.append(
        {"vector script.mvg.png", QByteArray("push graphic-context\nimage over 0,0 0,0 'https://example.org/'\n")});
    return files;
}

HostileFiles brokenMovies()
{
    const MovieFiles made;
    const QByteArray frames = "-f lavfi -i testsrc=size=64x48:rate=10:duration=0.4 -f lavfi -i sine=440:duration=0.4 ";
    const std::pair<const char*, QByteArray> movies[] = {{"a.mp4", frames + "-c:v mpeg4 -c:a aac"},
        {"a.mkv", frames + "-c:v mpeg4 -c:a aac"}, {"a.webm", frames + "-c:v libvpx -c:a libopus"},
        {"a.avi", frames + "-c:v mjpeg -c:a pcm_s16le"}, {"a.mpg", frames + "-r 25 -c:v mpeg1video -c:a mp2"},
        {"a.ts", frames + "-r 25 -c:v mpeg2video -c:a mp2"}, {"a.mp3", "-f lavfi -i sine=440:duration=0.3"},
        {"a.flac", "-f lavfi -i sine=440:duration=0.3"}, {"a.ogg", "-f lavfi -i sine=440:duration=0.3 -c:a libvorbis"}};
    HostileFiles files;
    for (const auto& [name, options] : movies) {
        if (!made.make(name, options)) {
            qFatal("cannot make %s", name);
        }
        const QByteArray contents = made.contentsOf(name);
        const QByteArray suffix = suffixOf(name);
        files.append({"movie cut early" + suffix, contents.left(contents.size() / 6)});
        files.append({"movie cut late" + suffix, contents.left(contents.size() * 5 / 6)});
        QByteArray noisy = contents;
        quint32 state = 1;
        for (qsizetype at = 64; at < noisy.size(); at += 97) {
            state = state * 1664525U + 1013904223U;
            noisy[at] = static_cast<char>(state >> 24);
        }
        files.append({"movie with wrong bytes" + suffix, noisy});
    }
    const QByteArray mp4 = made.contentsOf("a.mp4");
    files.append({"movie of no time.mp4", patched(mp4, "mvhd", 16, 0)});
    files.append({"movie of years.mp4", patched(mp4, "mvhd", 20, 0x7fffffff)});
    files.append({"movie of 4 billion frames.mp4", patched(mp4, "stts", 8, 0xffffffff)});
    files.append({"movie with a huge sample.mp4", patched(mp4, "stsz", 16, 0x7fffffff)});
    return files;
}

QByteArrayList addHostileFiles(const TestFolder& folder)
{
    QByteArrayList names;
    for (const auto& files : {cutFiles(), mistakenFiles(), extremeSizes(), extremeValues(), brokenProperties(),
             hostileDrawings(), bombs(), brokenMovies()}) {
        for (const HostileFile& file : files) {
            const QByteArray number = QByteArray::number(names.size()).rightJustified(4, '0');
            names.append(number + ' ' + file.name);
            folder.addFile(names.last(), file.contents);
        }
    }
    return names;
}

} // namespace frameflow
