// minimal_viewer FILE
// The least that shows a picture with Qt: reads it, and draws it on one full-screen widget. What a start costs at best.

#include <QApplication>
#include <QImageReader>
#include <QPainter>
#include <QWidget>

namespace {

class Picture : public QWidget
{
public:
    explicit Picture(const QString& path)
    {
        QImageReader reader(path);
        reader.setAutoTransform(true);
        mImage = reader.read();
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::black);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        QRect place(QPoint(), mImage.size().scaled(size(), Qt::KeepAspectRatio));
        place.moveCenter(rect().center());
        painter.drawImage(place, mImage);
    }

private:
    QImage mImage;
};

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    // The usual limit is that of a program that opens what strangers send.
    QImageReader::setAllocationLimit(0);
    Picture picture(QApplication::arguments().value(1));
    picture.showFullScreen();
    return QApplication::exec();
}
