#include "OpenGLRenderer.h"

#include "Filters.h"
#include "Mixing.h"
#include "Programs.h"
#include "ReducedCopies.h"
#include "Textures.h"

#include <QColor>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QVector2D>

#include <algorithm>

namespace frameflow {

std::unique_ptr<OpenGLRenderer> OpenGLRenderer::create(const ReducedCopies& copies)
{
    QOpenGLContext* const context = QOpenGLContext::currentContext();
    if (!context || !context->functions()->hasOpenGLFeature(QOpenGLFunctions::Framebuffers)) {
        return nullptr;
    }
    std::unique_ptr<OpenGLRenderer> renderer(new OpenGLRenderer(copies, *context->functions()));
    return renderer->mPrograms->link() && !renderer->hasFailed() ? std::move(renderer) : nullptr;
}

OpenGLRenderer::OpenGLRenderer(const ReducedCopies& copies, QOpenGLFunctions& functions)
    : mCopies(copies), mFunctions(functions), mPrograms(std::make_unique<Programs>()),
      mTextures(std::make_unique<Textures>(functions))
{
    // Where drivers allow more, parts of that size still are quicker to bring over one by one.
    constexpr int largestUseful = 8192;
    GLint largest = 0;
    functions.glGetIntegerv(GL_MAX_TEXTURE_SIZE, &largest);
    mLargestTexture = std::clamp(static_cast<int>(largest), 64, largestUseful);
}

OpenGLRenderer::~OpenGLRenderer() = default;

int OpenGLRenderer::texturesHeld() const
{
    return mTextures->count();
}

bool OpenGLRenderer::hasFailed()
{
    constexpr GLenum contextLost = 0x0507;
    // A lost context may go on telling errors for ever.
    for (int i = 0; i < 16; ++i) {
        const GLenum error = mFunctions.glGetError();
        if (error == GL_NO_ERROR) {
            break;
        }
        mFailed
            = mFailed || error == GL_OUT_OF_MEMORY || error == contextLost || error == GL_INVALID_FRAMEBUFFER_OPERATION;
    }
    const QOpenGLContext* const context = QOpenGLContext::currentContext();
    mFailed = mFailed || !context || !context->isValid();
    return mFailed;
}

bool OpenGLRenderer::paint(const DrawList& items, const ViewArea& area, GLuint framebuffer)
{
    const QSize pixels = area.pixels();
    if (mFailed || pixels.isEmpty()) {
        return !mFailed;
    }
    GLint largest = 0;
    mFunctions.glGetIntegerv(GL_MAX_TEXTURE_SIZE, &largest);
    if (pixels.width() > largest || pixels.height() > largest) {
        mFailed = true;
        return false;
    }
    aimAt(framebuffer, area);
    if (mFunctions.glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        mFailed = true;
        return false;
    }
    mMixed = false;
    mFunctions.glDisable(GL_DEPTH_TEST);
    mFunctions.glDisable(GL_CULL_FACE);
    mFunctions.glDisable(GL_SCISSOR_TEST);
    mFunctions.glDisable(GL_STENCIL_TEST);
    mFunctions.glDisable(GL_DITHER);
    mFunctions.glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    mFunctions.glEnable(GL_BLEND);
    mFunctions.glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    paintInto(framebuffer, Qt::black, items, area);
    mTextures->endFrame();
    if (!mMixed) {
        mSpareBuffers.clear();
    }
    return !hasFailed();
}

void OpenGLRenderer::aimAt(GLuint framebuffer, const ViewArea& area)
{
    mFunctions.glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    mFunctions.glViewport(0, 0, area.pixels().width(), area.pixels().height());
}

void OpenGLRenderer::paintInto(
    GLuint framebuffer, const QColor& background, const DrawList& items, const ViewArea& area)
{
    aimAt(framebuffer, area);
    mFunctions.glClearColor(0, 0, 0, static_cast<float>(background.alphaF()));
    mFunctions.glClear(GL_COLOR_BUFFER_BIT);
    const auto top
        = std::find_if(items.rbegin(), items.rend(), [&](const DrawItem& item) { return hidesEverything(item, area); });
    for (auto item = top == items.rend() ? items.begin() : std::prev(top.base()); item != items.end(); ++item) {
        paintItem(framebuffer, *item, area);
    }
}

void OpenGLRenderer::paintItem(GLuint framebuffer, const DrawItem& item, const ViewArea& area)
{
    if (item.mix) {
        paintMix(framebuffer, *item.mix, area);
    } else {
        paintPicture(item, area);
    }
}

void OpenGLRenderer::paintPicture(const DrawItem& item, const ViewArea& area)
{
    const Placement place = placementOf(item, area);
    if (place.kind == Placement::Kind::Nowhere || item.picture.isNull()) {
        return;
    }
    const QImage picture = mCopies.drawable(item.picture, place.pixels);
    QOpenGLShaderProgram& program = mPrograms->picture();
    program.bind();
    const QSize pixels = area.pixels();
    program.setUniformValue("view", QVector2D(static_cast<float>(pixels.width()), static_cast<float>(pixels.height())));
    program.setUniformValue("picture", 0);
    program.setUniformValue("opacity", static_cast<float>(std::clamp(item.opacity, 0.0, 1.0)));
    program.setUniformValue("opaque", picture.hasAlphaChannel() ? 0.0F : 1.0F);
    mFunctions.glActiveTexture(GL_TEXTURE0);
    for (const PictureQuad& quad : pictureQuads(item, place, picture.size(), mLargestTexture, area)) {
        mTextures->bind(picture, quad.part);
        drawStrip(quad.corners);
    }
    program.release();
}

void OpenGLRenderer::drawStrip(const std::array<QuadCorner, 4>& corners)
{
    mFunctions.glBindBuffer(GL_ARRAY_BUFFER, 0);
    const auto attribute = [&](GLuint place, GLint numbers, const float* first) {
        mFunctions.glEnableVertexAttribArray(place);
        mFunctions.glVertexAttribPointer(place, numbers, GL_FLOAT, GL_FALSE, sizeof(QuadCorner), first);
    };
    attribute(Programs::Position, 2, &corners.front().x);
    attribute(Programs::TexturePlace, 2, &corners.front().u);
    attribute(Programs::Edges, 4, &corners.front().left);
    mFunctions.glDrawArrays(GL_TRIANGLE_STRIP, 0, static_cast<GLsizei>(corners.size()));
    for (const GLuint place : {Programs::Position, Programs::TexturePlace, Programs::Edges}) {
        mFunctions.glDisableVertexAttribArray(place);
    }
}

void OpenGLRenderer::paintMix(GLuint framebuffer, const MixDraw& mix, const ViewArea& area)
{
    if (!canMix(mix.effect)) {
        for (const DrawItem& item : mix.target) {
            paintItem(framebuffer, item, area);
        }
        return;
    }
    Drawing source = drawn(mix.source, area);
    Drawing target = drawn(mix.target, area);
    aimAt(framebuffer, area);
    paintMixture(mix, source, target, area);
    giveBack(std::move(source));
    giveBack(std::move(target));
}

void OpenGLRenderer::bindDrawing(const Drawing& drawing)
{
    if (drawing) {
        mFunctions.glBindTexture(GL_TEXTURE_2D, drawing->texture());
    } else {
        mTextures->bindNothing();
    }
}

void OpenGLRenderer::paintMixture(
    const MixDraw& mix, const Drawing& source, const Drawing& target, const ViewArea& area)
{
    const double progress = std::clamp(mix.progress, 0.0, 1.0);
    const auto filter
        = mix.effect.kind == TransitionEffect::Kind::Filter ? transitionFilter(mix.effect.filterName) : std::nullopt;
    // Both ends are exact, whatever the filter makes of them.
    const bool isEven = !filter || progress == 0 || progress == 1;
    QOpenGLShaderProgram& program = isEven ? mPrograms->fade() : mPrograms->filter(*filter);
    const auto width = static_cast<float>(area.pixels().width());
    const auto height = static_cast<float>(area.pixels().height());
    const QRectF extent = mix.effect.inputExtent.isEmpty() ? QRectF(QPointF(), area.size) : mix.effect.inputExtent;
    program.bind();
    program.setUniformValue("view", QVector2D(width, height));
    program.setUniformValue("source", 0);
    program.setUniformValue("target", 1);
    program.setUniformValue("progress", static_cast<float>(progress));
    program.setUniformValue(
        "size", QVector2D(static_cast<float>(area.size.width()), static_cast<float>(area.size.height())));
    program.setUniformValue("scale", static_cast<float>(area.pixelsPerPoint));
    program.setUniformValue(
        "extent", QVector2D(static_cast<float>(extent.right()), static_cast<float>(extent.width())));
    mFunctions.glActiveTexture(GL_TEXTURE1);
    bindDrawing(target);
    mFunctions.glActiveTexture(GL_TEXTURE0);
    bindDrawing(source);
    // Drawings have their first row at the bottom.
    drawStrip({QuadCorner{0, 0, 0, 1}, QuadCorner{width, 0, 1, 1}, QuadCorner{0, height, 0, 0},
        QuadCorner{width, height, 1, 0}});
    program.release();
}

OpenGLRenderer::Drawing OpenGLRenderer::drawn(const DrawList& items, const ViewArea& area)
{
    mMixed = true;
    if (items.empty()) {
        return nullptr;
    }
    Drawing drawing = takeBuffer(area.pixels());
    if (!drawing->isValid()) {
        mFailed = true;
        return nullptr;
    }
    paintInto(drawing->handle(), Qt::transparent, items, area);
    return drawing;
}

OpenGLRenderer::Drawing OpenGLRenderer::takeBuffer(QSize pixels)
{
    while (!mSpareBuffers.empty()) {
        Drawing buffer = std::move(mSpareBuffers.back());
        mSpareBuffers.pop_back();
        if (buffer->size() == pixels) {
            return buffer;
        }
    }
    return std::make_unique<QOpenGLFramebufferObject>(pixels);
}

void OpenGLRenderer::giveBack(Drawing drawing)
{
    if (drawing) {
        mSpareBuffers.push_back(std::move(drawing));
    }
}

} // namespace frameflow
