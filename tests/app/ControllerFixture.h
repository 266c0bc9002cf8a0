#pragma once

#include "ManualClock.h"
#include "SettingsKeys.h"
#include "SlideController.h"
#include "TestFiles.h"
#include "UserDefaults.h"

#include <QColor>

#include <memory>

namespace frameflow {

// A controller over real files, with a clock that stands still, settings of its own, and the hint out of the way. The
// settings begin with the program's defaults, but for: no hint, no automatic start, order by name, no transition.
class ControllerFixture
{
public:
    ControllerFixture();
    ~ControllerFixture();

    // A picture of one colour; the type follows the suffix. Answers its URL.
    FileUrl addPicture(const QByteArray& name, QColor color = Qt::red, QSize size = {40, 30}) const;
    void addPictures(const QList<QByteArray>& names) const;

    void set(const QString& key, const QVariant& value) { mDefaults->setValue(key, value); }
    const UserDefaults& settings() const { return *mDefaults; }
    SlideController& start();
    SlideController& controller() { return *mController; }
    void destroyController() { mController.reset(); }
    // Ends the controller and reads the settings from their file, as the next start of the program does.
    bool readSettingsAnew();

    // Hands the folder over as the system does, and waits until the collection has been applied and the show rests.
    bool openFolder();
    bool open(const QList<FileUrl>& files);
    // Starts with "1.png", "2.png" and "3.png" in the folder.
    bool openThree();
    // The same without waiting for the show to rest.
    bool collectFolder();

    // The name of the file on screen.
    QByteArray shown() const { return mController->imageURL().fileName().toByteArray(); }
    // The name of the file whose picture the view shows; empty without one.
    QByteArray onScreen() const;
    // Waits until no slide is being waited for, and all that is wanted ahead is there: from then on a step is made at
    // once.
    bool rest();
    // The names of the files that are decoded ahead, or being decoded.
    QList<QByteArray> filesAhead() const;
    // Waits until the file of that name could be shown at once.
    bool waitUntilAhead(const QByteArray& name) const;
    // Lets a transition, if one runs, come to its end.
    void letTransitionEnd();
    void press(int key, const QString& text = {}, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    // Triggers a command as a menu does: what is offered is looked up first. False, with nothing done, when it is not.
    bool trigger(const char* id);
    QStringList visibleWindows() const;

    TestFolder folder;
    TestFolder resourceFolder;
    ManualClock clock;
    UpdateServer updateServer; // that the controller is made with: nobody, unless a test says otherwise

private:
    bool collect(const QList<FileUrl>& files);

    TestFolder mSettingsFolder;
    std::unique_ptr<UserDefaults> mDefaults;
    std::unique_ptr<SlideController> mController;
};

} // namespace frameflow
