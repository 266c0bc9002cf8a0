#pragma once

#include <QWidget>

namespace frameflow {

// The play symbol over the picture of a movie: in the middle, never larger than the picture. Clicks go to what is
// beneath it.
class KLImageView : public QWidget
{
public:
    // The name of a picture among the program's resources.
    explicit KLImageView(const QString& name, QWidget* parent = nullptr);

    // False where there is no such picture.
    bool hasImage() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPixmap image() const;

    QString mName;
};

} // namespace frameflow
