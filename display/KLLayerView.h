#pragma once

#include "KLImage.h"

#include <QWidget>

namespace frameflow {

class Clock;
class UserDefaults;

// What the slide view tells its controller.
class KLImageDisplayDelegate
{
public:
    virtual ~KLImageDisplayDelegate() = default;
    virtual void delayNextImage() = 0;
};

// The view that fills the slideshow window and shows the current slide. Main thread only.
class KLLayerView : public QWidget
{
    Q_OBJECT

public:
    KLLayerView(UserDefaults& defaults, Clock& clock, QWidget* parent = nullptr);
    ~KLLayerView() override;

    // Not owned; null for none.
    void setDelegate(KLImageDisplayDelegate* delegate);

    void setImageWithURL(const FileUrl& url, bool forward);
    void setImage(const KLImagePtr& image, bool forward);
    bool isBusy() const;
    bool ImageOK() const;
    void clearImage();
    void refresh();
    void updateFitMode();
};

} // namespace frameflow
