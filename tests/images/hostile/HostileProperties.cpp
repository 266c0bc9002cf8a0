#include "FileBytes.h"
#include "HostileFiles.h"
#include "PictureFiles.h"

#include <QColorSpace>

namespace frameflow {

namespace {

const QByteArray exifHead("Exif\0\0", 6);

QByteArray jpeg()
{
    static const QByteArray file = encoded(quartersPicture(), "jpg");
    return file;
}

QByteArray withExifBytes(const QByteArray& exif)
{
    return withSegment(jpeg(), '\xe1', exifHead + exif);
}

QByteArray directory(std::initializer_list<TiffField> fields, quint32 next = 0)
{
    return tiff(fields, {}, next);
}

HostileFiles orientations()
{
    HostileFiles files;
    for (const int number : {0, 9, 255, 32767, 65535, -1, -32768}) {
        files.append({"orientation " + QByteArray::number(number) + ".jpg", withExif(jpeg(), exifBlock(number))});
    }
    const std::pair<const char*, TiffField> fields[]
        = {{"of no numbers", {0x0112, 3, 0, 6}}, {"of 4 billion numbers", {0x0112, 3, 0xffffffff, 6}},
            {"as text", {0x0112, 2, 4, 0x00303036}}, {"as a fraction beyond the end", {0x0112, 5, 1, 0xfffffff0}},
            {"as a floating-point number", {0x0112, 11, 1, 0x7fc00000}}, {"of an unknown kind", {0x0112, 99, 1, 6}},
            {"as 32 bits", {0x0112, 4, 1, 0x00060006}}};
    for (const auto& [words, field] : fields) {
        files.append({QByteArray("orientation ") + words + ".jpg", withExifBytes(directory({field}))});
    }
    return files;
}

HostileFiles exifBlocks()
{
    const QByteArray good = exifBlock(6, encoded(quartersPicture({160, 96}), "jpg"), true);
    const QByteArray itself = directory({{0x0112, 3, 1, 6}}, 8);
    HostileFiles files{
        {"exif that leads to itself.jpg", withExifBytes(itself)},
        {"exif in its own sub-directory.jpg", withExifBytes(directory({{0x8769, 4, 1, 8}}))},
        {"exif with positions in itself.jpg",
            withExifBytes(directory({{0x8825, 4, 1, 8}, {0x8769, 4, 1, 8}, {0x014a, 4, 1, 8}}))},
        {"exif that begins behind its end.jpg", withExifBytes(QByteArray("II*\0", 4) + little32(0xfffffff0))},
        {"exif of 65535 fields.jpg", withExifBytes(QByteArray("II*\0\x08\0\0\0\xff\xff", 10))},
        {"exif in no byte order.jpg", withExifBytes("XX" + good.mid(2))},
        {"exif in the other byte order.jpg", withExifBytes("MM" + good.mid(2))},
        {"exif of nothing.jpg", withExifBytes({})},
        {"exif of text.jpg", withExifBytes("this is no EXIF block at all")},
        {"exif as long as can be.jpg", withExifBytes(good.leftJustified(65500, '\xff'))},
        {"thumbnail behind the end.jpg",
            withExifBytes(directory({{0x0201, 4, 1, 0xfffffff0}, {0x0202, 4, 1, 0xffffffff}}))},
        {"thumbnail of 4 gigabytes.jpg",
            withExifBytes(directory({{0x0103, 3, 1, 6}, {0x0201, 4, 1, 8}, {0x0202, 4, 1, 0xffffffff}}))},
        {"thumbnail that is no jpeg.jpg", withExif(jpeg(), exifBlock(1, QByteArray(500, 'x')))},
        {"thumbnail cut off.jpg", withExif(jpeg(), exifBlock(1, jpeg().left(300)))},
        {"maker note of 4 gigabytes.jpg",
            withExifBytes(directory({{0x010f, 2, 4, 0x006f6e4e}, {0x927c, 7, 0xffffffff, 8}}))},
        {"exif twice.jpg", withExif(withExif(jpeg(), good), exifBlock(3))},
        {"exif without a picture.jpg", withExif(jpeg(), good).left(good.size() + 20)},
        {"xmp without an end.jpg",
            withSegment(jpeg(), '\xe1', QByteArray("http://ns.adobe.com/xap/1.0/\0", 29) + "<x:xmpmeta><rdf:RDF>")},
        {"xmp of elements.jpg",
            withSegment(jpeg(), '\xe1',
                QByteArray("http://ns.adobe.com/xap/1.0/\0", 29) + QByteArray("<x:a>").repeated(13000))},
        {"iptc that is wrong.jpg",
            withSegment(jpeg(), '\xed',
                QByteArray("Photoshop 3.0\0"
                           "8BIM\4\4\0\0\xff\xff\xff\xff",
                    26)
                    + QByteArray(99, '\x1c'))},
    };
    constexpr int cuts = 12;
    for (int i = 1; i <= cuts; ++i) {
        files.append({"exif cut at " + QByteArray::number(i) + " of 13.jpg",
            withExifBytes(good.left(good.size() * i / (cuts + 1)))});
    }
    return files;
}

// A profile in segments of a JPEG, with the numbers that these are said to have.
QByteArray withProfile(const QByteArray& profile, char number = '\1', char count = '\1')
{
    return withSegment(jpeg(), '\xe2', QByteArray("ICC_PROFILE\0", 12) + number + count + profile);
}

HostileFiles profiles()
{
    const QByteArray good = QColorSpace(QColorSpace::DisplayP3).iccProfile();
    const auto patched = [&](qsizetype place, const QByteArray& bytes) {
        QByteArray profile = good;
        return profile.replace(place, bytes.size(), bytes);
    };
    const QByteArray lines = deflated(QByteArray(2, '\0'));
    HostileFiles files{
        {"profile of nothing.jpg", withProfile({})},
        {"profile of noise.jpg", withProfile(QByteArray(3000, '\xa5'))},
        {"profile that says 4 gigabytes.jpg", withProfile(patched(0, big32(0xffffffff)))},
        {"profile for inks.jpg", withProfile(patched(16, "CMYK"))},
        {"profile for grey.jpg", withProfile(patched(16, "GRAY"))},
        {"profile to another profile.jpg", withProfile(patched(12, "link"))},
        {"profile without white.jpg", withProfile(patched(68, QByteArray(12, '\0')))},
        {"profile of 4 billion parts.jpg", withProfile(patched(128, big32(0xffffffff)))},
        {"profile of parts behind its end.jpg", withProfile(patched(136, big32(0xfffffff0) + big32(0xfffffff0)))},
        {"profile of a version to come.jpg", withProfile(patched(8, big32(0x63000000)))},
        {"profile in part 5 of 3.jpg", withProfile(good, '\5', '\3')},
        {"profile in no parts.jpg", withProfile(good, '\0', '\0')},
        {"profile that is cut off.png",
            png(1, 1, 8, 2, lines, pngChunk("iCCP", QByteArray("a\0\0", 3) + deflated(good).left(50)))},
        {"profile for inks.png",
            png(1, 1, 8, 0, lines, pngChunk("iCCP", QByteArray("a\0\0", 3) + deflated(patched(16, "CMYK"))))},
        {"gamma of nothing.png", png(1, 1, 8, 0, lines, pngChunk("gAMA", big32(0)))},
        {"gamma of 4 billion.png", png(1, 1, 8, 0, lines, pngChunk("gAMA", big32(0xffffffff)))},
        {"colours of no light.png", png(1, 1, 8, 0, lines, pngChunk("cHRM", QByteArray(32, '\0')))},
    };
    for (const int share : {1, 2, 3}) {
        files.append({"profile cut at " + QByteArray::number(share) + " of 4.jpg",
            withProfile(good.left(good.size() * share / 4))});
    }
    return files;
}

} // namespace

HostileFiles brokenProperties()
{
    return orientations() + exifBlocks() + profiles();
}

HostileFiles hostileDrawings()
{
    const QByteArray start
        = R"(<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" width="90" height="90">)";
    QByteArray laughs = "<?xml version=\"1.0\"?><!DOCTYPE svg [<!ENTITY a0 \"ha\">";
    for (int i = 1; i < 20; ++i) {
        const QByteArray before = "&a" + QByteArray::number(i - 1) + ';';
        laughs += "<!ENTITY a" + QByteArray::number(i) + " \"" + before.repeated(10) + "\">";
    }
    QByteArray uses;
    for (int i = 1; i < 20; ++i) {
        const QByteArray use = "<use xlink:href=\"#g" + QByteArray::number(i - 1) + "\"/>";
        uses += "<g id=\"g" + QByteArray::number(i) + "\">" + use.repeated(10) + "</g>";
    }
    return {
        {"laughs.svg", laughs + "]>" + start + "<text>&a19;</text></svg>"},
        {"file from outside.svg",
            "<!DOCTYPE svg [<!ENTITY a SYSTEM \"file:///etc/passwd\">]>" + start + "<text>&a;</text></svg>"},
        {"picture from outside.svg", start + R"(<image xlink:href="file:///etc/passwd" width="9" height="9"/></svg>)"},
        {"deep.svg", start + QByteArray("<g>").repeated(100000) + QByteArray("</g>").repeated(100000) + "</svg>"},
        {"just deep enough.svg", start + QByteArray("<g>").repeated(498) + QByteArray("</g>").repeated(498) + "</svg>"},
        {"use of itself.svg", start + R"(<g id="a"><use xlink:href="#a"/></g><use xlink:href="#a"/></svg>)"},
        {"uses of uses.svg", start + R"(<g id="g0"><rect width="9" height="9"/></g>)" + uses + "</svg>"},
        {"gradient of itself.svg",
            start
                + R"svg(<linearGradient id="a" xlink:href="#a"/><rect width="9" height="9" fill="url(#a)"/></svg>)svg"},
        {"path without an end.svg", start + "<path d=\"M0 0" + QByteArray(" L9 9 0 0").repeated(50000) + "\"/></svg>"},
        {"numbers beyond all.svg", start + R"(<rect x="1e308" width="1e309" height="nan" stroke-width="1e38"/></svg>)"},
        {"scaled beyond all.svg",
            start + R"svg(<g transform="scale(1e30) rotate(1e30)"><circle r="1e30" stroke="#000"/></g></svg>)svg"},
        {"view of nothing.svg",
            R"(<svg xmlns="http://www.w3.org/2000/svg" width="90" height="90" viewBox="0 0 0 0"><rect width="9" height="9"/></svg>)"},
        {"negative.svg", R"(<svg xmlns="http://www.w3.org/2000/svg" width="-90" height="-90"/>)"},
        {"dashes.svg", start + R"(<path d="M0 0L90 90" stroke="#000" stroke-dasharray="0.00001 0.00001"/></svg>)"},
        {"picture of a bomb.svg",
            start + "<image width=\"9\" height=\"9\" xlink:href=\"data:image/png;base64,"
                + png(60000, 60000, 8, 0, deflated(QByteArray(999, '\0'))).toBase64() + "\"/></svg>"},
        {"text of a million letters.svg", start + "<text>" + QByteArray(1 << 20, 'a') + "</text></svg>"},
        {"unfinished.svg", start + "<rect"},
        {"movie.svg", R"(<svgftyp xmlns="http://www.w3.org/2000/svg"><svg/></svgftyp>)"},
    };
}

} // namespace frameflow
