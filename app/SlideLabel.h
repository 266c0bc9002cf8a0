#pragma once

#include <QLabel>

namespace frameflow {

// One line of text over a slide, along the lower edge of the widget that it belongs to, which may change its size.
class SlideLabel : public QLabel
{
    Q_OBJECT

public:
    explicit SlideLabel(QWidget* parent);

    // In front of everything else over the slide, as large as the text; hidden for none. What is wider than the widget
    // loses its middle.
    void showText(const QString& text);
    QString shownText() const;

Q_SIGNALS:
    // How much of the lower edge it takes has changed, in points; 0 while it is not shown.
    void heightTaken(int height);

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* object, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void fit();
    void place();
};

} // namespace frameflow
