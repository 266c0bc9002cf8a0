#pragma once

#include "PictureCompare.h"
#include "Program.h"
#include "TestFiles.h"
#include "XServer.h"

#include <QImage>
#include <QVariantMap>

#include <memory>

namespace frameflow::e2e {

// The real program on the test's own display, used as a person uses it. Unless a test says otherwise its settings are:
// no hint, stopped, ordered by name, transition "None".
class ShowDriver
{
public:
    // Runs the program as it was built, or another copy of it.
    explicit ShowDriver(const QString& program = builtProgram());

    static QString builtProgram();
    // Where the pictures that come with the program lie.
    static QString samplesFolder();

    void set(const QString& key, const QVariant& value) { mSettings.insert(key, value); }
    // A variable for the program alone.
    void setVariable(const QString& name, const QString& value) { mVariables.insert(name, value); }
    // Writes the settings and starts the program; false when it cannot be started.
    bool start(const QList<QByteArray>& arguments);
    // The two, one after the other.
    void writeSettingsNow() const { writeSettings(mSettings); }
    bool startAsItIs(const QList<QByteArray>& arguments);
    bool startWithFolder() { return start({folder.path()}); }
    // Starts with the folder and waits until the program has collected it, shows the first slide and rests: from then
    // on only keys change anything.
    bool startAndRest();
    // Waits until no thread of the program has been woken for that long.
    bool waitUntilAtRest(std::chrono::milliseconds quiet = std::chrono::milliseconds(400)) const;

    Program& program() { return mProgram; }
    const XServer& server() const { return *mServer; }

    // The window of the show, once it is on screen.
    std::optional<WindowId> showWindow() const { return mServer->waitForWindow(mProgram.processId()); }
    void press(const QString& key) const { mServer->pressKey(key); }
    // What is on the screen.
    QImage screen() const { return mServer->grab(mServer->bounds()); }
    // Waits until the screen looks like that. On failure the pictures are kept under the name.
    bool waitForScreen(const QImage& expected, const QString& name, const PictureTolerance& tolerance = {}) const;
    // Waits until the whole screen, but for edges of a few pixels, has one colour.
    bool waitForColour(QColor colour) const;
    // Waits for a picture of many colours: the hint, among slides of one colour.
    bool waitForManyColours() const;

    // A picture of one colour that covers the screen, or of another size.
    void addColour(const QByteArray& name, QColor colour, QSize size = {}) const
    {
        addColourTo(folder, name, colour, size);
    }
    void addColourTo(const TestFolder& other, const QByteArray& name, QColor colour, QSize size = {}) const;

    TestFolder folder;

private:
    std::unique_ptr<XServer> mServer;
    Program mProgram;
    QVariantMap mSettings;
    QMap<QString, QString> mVariables;
};

// The picture as it is to stand on a black area of that size: drawn here once more, from the rectangle alone.
QImage onBlack(const QImage& picture, const QRectF& rect, QSize area);

} // namespace frameflow::e2e
