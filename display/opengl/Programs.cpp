#include "Programs.h"

#include <QSysInfo>

namespace frameflow {

namespace {

constexpr const char* vertexCode = R"(
attribute vec2 position;
attribute vec2 texturePlace;
attribute vec4 edges;
uniform vec2 view;
varying vec2 pixel;
varying vec2 place;
varying vec4 inside;
void main()
{
    pixel = position;
    place = texturePlace;
    inside = edges;
    gl_Position = vec4(position.x * 2.0 / view.x - 1.0, 1.0 - position.y * 2.0 / view.y, 0.0, 1.0);
}
)";

constexpr const char* fragmentBegin = R"(
#ifdef GL_ES
#ifdef GL_FRAGMENT_PRECISION_HIGH
precision highp float;
#else
precision mediump float;
#endif
#endif
varying vec2 pixel;
varying vec2 place;
varying vec4 inside;
)";

// How much of the pixel lies between two edges of the picture, from how far it is inside each.
constexpr const char* pictureCode = R"(
uniform sampler2D picture;
uniform float opacity;
uniform float opaque;
float covered(float from, float to)
{
    return max(min(from + 0.5, 1.0) - max(0.5 - to, 0.0), 0.0);
}
void main()
{
    vec4 colour = texture2D(picture, place).CHANNELS;
    colour.a = max(colour.a, opaque);
    gl_FragColor = colour * (opacity * covered(inside.x, inside.y) * covered(inside.z, inside.w));
}
)";

constexpr const char* mixCode = R"(
uniform sampler2D source;
uniform sampler2D target;
uniform float progress;
uniform vec2 size;
uniform float scale;
uniform vec2 extent;
float shareOfTarget();
void main()
{
    gl_FragColor = mix(texture2D(source, place), texture2D(target, place), shareOfTarget());
}
)";

constexpr const char* fadeCode = R"(
float shareOfTarget()
{
    return progress;
}
)";

constexpr const char* barsCode = R"(
float shareOfTarget()
{
    float fromRight = size.x - pixel.x / scale;
    float bar = floor(fromRight / barWidth);
    float lag = barOffset * clamp(bar * barWidth / size.x, 0.0, 1.0);
    float travelled = progress * (barWidth + barOffset) - lag;
    return clamp((travelled - (fromRight - bar * barWidth)) * scale + 0.5, 0.0, 1.0);
}
)";

constexpr const char* modCode = R"(
float ringAt(float distance)
{
    return modCompression / modRadius * log(1.0 + distance / modCompression);
}
float shareOfTarget()
{
    vec2 middle = view / (2.0 * scale);
    vec2 at = pixel / scale - middle;
    float ring = ringAt(length(at));
    float outwards = 2.0 * (ring - floor(ring + 0.5));
    float turn = atan(at.y, at.x) * modSectors / 6.283185307 + modTwist * ring;
    float around = (2.0 * fract(turn) - 1.0) * min(2.0 * ring, 1.0);
    float hole = sqrt((outwards * outwards + around * around) / 2.0);
    float later = modSpread * ring / ringAt(length(middle));
    return clamp(((1.0 + modSoftness) * ((1.0 + modSpread) * progress - later) - hole) / modSoftness, 0.0, 1.0);
}
)";

constexpr const char* swipeCode = R"(
float shareOfTarget()
{
    float edge = extent.x - progress * (extent.y + swipeWidth);
    float passed = clamp((pixel.x / scale - edge) / swipeWidth, 0.0, 1.0);
    return passed * passed * (3.0 - 2.0 * passed);
}
)";

// The filters' measures, as they are in the rest of the program.
QByteArray measures()
{
    QByteArray text;
    const auto add = [&](const char* name, double value) {
        text += QByteArray("const float ") + name + " = " + QByteArray::number(value, 'f', 6) + ";\n";
    };
    add("barWidth", filters::barWidth);
    add("barOffset", filters::barOffset);
    add("modRadius", filters::modRadius);
    add("modCompression", filters::modCompression);
    add("modSectors", filters::modSectors);
    add("modTwist", filters::modTwist);
    add("modSoftness", filters::modSoftness);
    add("modSpread", filters::modSpread);
    add("swipeWidth", filters::swipeWidth);
    return text;
}

std::unique_ptr<QOpenGLShaderProgram> linked(const QByteArray& fragmentCode)
{
    auto program = std::make_unique<QOpenGLShaderProgram>();
    const bool isCompiled = program->addShaderFromSourceCode(QOpenGLShader::Vertex, vertexCode)
        && program->addShaderFromSourceCode(QOpenGLShader::Fragment, fragmentBegin + fragmentCode);
    if (!isCompiled) {
        return nullptr;
    }
    program->bindAttributeLocation("position", Programs::Position);
    program->bindAttributeLocation("texturePlace", Programs::TexturePlace);
    program->bindAttributeLocation("edges", Programs::Edges);
    return program->link() ? std::move(program) : nullptr;
}

std::unique_ptr<QOpenGLShaderProgram> linkedMix(const char* share)
{
    QByteArray code = measures() + "uniform vec2 view;\n" + mixCode + share;
    return linked(code);
}

} // namespace

bool Programs::link()
{
    // A QImage's pixel is a number, whose bytes stand in the machine's order.
    const bool isLittle = QSysInfo::ByteOrder == QSysInfo::LittleEndian;
    mPicture = linked(QByteArray(pictureCode).replace("CHANNELS", isLittle ? "bgra" : "gbar"));
    mFade = linkedMix(fadeCode);
    mFilters[static_cast<size_t>(TransitionFilter::BarsSwipe)] = linkedMix(barsCode);
    mFilters[static_cast<size_t>(TransitionFilter::Mod)] = linkedMix(modCode);
    mFilters[static_cast<size_t>(TransitionFilter::Swipe)] = linkedMix(swipeCode);
    return mPicture && mFade && mFilters[0] && mFilters[1] && mFilters[2];
}

} // namespace frameflow
