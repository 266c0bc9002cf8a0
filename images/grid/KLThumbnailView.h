#pragma once

#include "FileUrl.h"

#include <QFont>
#include <QImage>
#include <QWidget>

#include <memory>
#include <tuple>

class QAbstractButton;
class QLabel;

namespace frameflow {

class KLImageGridDelegate;
class KLImageView;
class ThumbnailButton;

// One cell of the grid: a picture that is a button, the name of the file on its lower left corner, and for movies a
// play symbol in its middle. While there is no picture, the name alone stands in the cell. Main thread only, but for
// setImage.
class KLThumbnailView : public QWidget
{
    Q_OBJECT

public:
    explicit KLThumbnailView(const QRect& frame);

    // Told the index when the picture is clicked. Not owned; null for none.
    void setMyDelegate(KLImageGridDelegate* delegate) { myDelegate = delegate; }

    // The position in the sequence.
    size_t index() const { return mIndex; }
    void setIndex(size_t index) { mIndex = index; }
    // The file that is shown; empty for a place behind the last file.
    const FileUrl& url() const { return mUrl; }
    void setURL(const FileUrl& url);

    // A null picture hides the button. From the main thread it takes effect at once, from others in the event loop's
    // next turn.
    void setImage(const QImage& image);
    bool hasImage() const;
    // The whole name; where the picture is too narrow for it, its middle is left out.
    void setText(const QString& text);
    const QString& text() const { return mText; }
    void setIsMovie(bool isMovie);

    const QAbstractButton* button() const;
    const QLabel* label() const { return mLabel; }
    // Null until a movie has been shown in this cell.
    const KLImageView* movieIcon() const { return mMovieIcon; }

    void buttonClick();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void showImage(const QImage& image);
    void placeButton();
    void placeLabel();

    size_t mIndex = 0;
    FileUrl mUrl;
    QString mText;
    KLImageGridDelegate* myDelegate = nullptr;
    ThumbnailButton* mButton;
    QLabel* mLabel;
    std::tuple<QString, int, QFont> mPlaced; // what it has been laid out for: text, width and font
    KLImageView* mMovieIcon = nullptr;
    // For pictures on their way from other threads: gone with the cell.
    std::shared_ptr<bool> mAlive = std::make_shared<bool>(true);
};

} // namespace frameflow
