#include "Textures.h"

#include "Reduction.h"

#include <utility>

namespace frameflow {

GLuint Textures::upload(QOpenGLFunctions& functions, const QImage& picture, const QRect& part)
{
    const QImage drawable = inDrawableFormat(picture);
    // OpenGL ES 2 takes rows without gaps alone.
    const bool isWhole = part == drawable.rect() && drawable.bytesPerLine() == qsizetype(drawable.width()) * 4;
    const QImage packed = isWhole ? drawable : drawable.copy(part);
    GLuint texture = 0;
    functions.glGenTextures(1, &texture);
    functions.glBindTexture(GL_TEXTURE_2D, texture);
    functions.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    functions.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    functions.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    functions.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    functions.glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    functions.glTexImage2D(
        GL_TEXTURE_2D, 0, GL_RGBA, packed.width(), packed.height(), 0, GL_RGBA, GL_UNSIGNED_BYTE, packed.constBits());
    return texture;
}

void Textures::bind(const QImage& picture, const QRect& part)
{
    Entry& entry = mEntries[{picture.cacheKey(), part.x(), part.y(), part.width(), part.height()}];
    entry.isUsed = true;
    if (entry.texture == 0) {
        entry.texture = upload(mFunctions, picture, part);
    } else {
        mFunctions.glBindTexture(GL_TEXTURE_2D, entry.texture);
    }
}

void Textures::bindNothing()
{
    if (mNothing == 0) {
        QImage nothing(1, 1, QImage::Format_ARGB32_Premultiplied);
        nothing.fill(Qt::transparent);
        mNothing = upload(mFunctions, nothing, nothing.rect());
    } else {
        mFunctions.glBindTexture(GL_TEXTURE_2D, mNothing);
    }
}

void Textures::endFrame()
{
    for (auto place = mEntries.begin(); place != mEntries.end();) {
        Entry& entry = place->second;
        if (std::exchange(entry.isUsed, false)) {
            ++place;
        } else {
            mFunctions.glDeleteTextures(1, &entry.texture);
            place = mEntries.erase(place);
        }
    }
}

void Textures::release()
{
    for (const auto& [key, entry] : mEntries) {
        mFunctions.glDeleteTextures(1, &entry.texture);
    }
    mEntries.clear();
    if (mNothing != 0) {
        mFunctions.glDeleteTextures(1, &mNothing);
        mNothing = 0;
    }
}

} // namespace frameflow
