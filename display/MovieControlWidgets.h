#pragma once

#include <QSlider>
#include <QToolButton>

namespace frameflow {

enum class MovieGlyph
{
    Play,
    Pause,
    StepBack,
    StepForward,
    Sound,
    Silence,
};

// A button that is a white sign. It takes the keyboard by Tab alone: a click leaves it to the slide.
class MovieButton : public QToolButton
{
    Q_OBJECT

public:
    MovieButton(MovieGlyph glyph, const QString& name, QWidget* parent);

    // The name is what a screen reader says, and what is shown when the pointer rests.
    void setMeaning(MovieGlyph glyph, const QString& name);
    MovieGlyph glyph() const { return mGlyph; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    MovieGlyph mGlyph;
};

// A slider that goes where it is pressed, and a single step for each notch of the wheel.
class MovieSlider : public QSlider
{
    Q_OBJECT

public:
    MovieSlider(const QString& name, QWidget* parent);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    QRectF groove() const;
    int valueAt(double x) const;

    qint64 mTurned = 0; // by the wheel, in parts of a value that are still to be gone: so many as a notch has
};

// How far the parent of a control has been faded in; 1 for a parent that does not fade.
double fadeOf(const QWidget& control);
inline constexpr char fadeProperty[] = "fade";

} // namespace frameflow
