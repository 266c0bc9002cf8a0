#pragma once

#include <QImage>
#include <QOpenGLFunctions>
#include <QRect>

#include <map>
#include <tuple>

namespace frameflow {

// Pictures in the memory of the graphics processor, as long as each frame needs them. Everything is called with the
// same OpenGL context current, the destructor too unless all has been released or abandoned.
class Textures
{
public:
    explicit Textures(QOpenGLFunctions& functions) : mFunctions(functions) { }
    ~Textures() { release(); }
    Textures(const Textures&) = delete;
    Textures& operator=(const Textures&) = delete;

    // Binds the texture that holds a part of a picture, and makes it if it is new. Its bytes are those of a QImage of
    // 32 bits a pixel, so that red and blue have changed places.
    void bind(const QImage& picture, const QRect& part);
    // A picture of one transparent pixel.
    void bindNothing();

    // Lets the pictures go that were not used since the last call.
    void endFrame();
    void release();
    int count() const { return static_cast<int>(mEntries.size()); }

private:
    struct Entry
    {
        GLuint texture = 0;
        bool isUsed = true;
    };
    using Key = std::tuple<qint64, int, int, int, int>; // the picture's cacheKey() and the part

    static GLuint upload(QOpenGLFunctions& functions, const QImage& picture, const QRect& part);

    QOpenGLFunctions& mFunctions;
    std::map<Key, Entry> mEntries;
    GLuint mNothing = 0;
};

} // namespace frameflow
