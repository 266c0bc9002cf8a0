#pragma once

#include <QKeySequence>
#include <QList>
#include <QString>

#include <vector>

namespace frameflow {

class SlideController;

// What must be the case for a command to be offered.
enum class Needs
{
    Nothing,
    Slides, // at least one file in the sequence
    WindowMode, // the show runs in a window, which the window manager has not made cover the display by itself
};

// What becomes of a command that is given while a slide is being waited for.
enum class WhileWaiting
{
    Waits, // until the slide is there, in its turn
    AtOnce,
    Refused,
};

// What becomes of a command whose key is held down.
enum class WhileHeld
{
    Once,
    Repeats,
};

// One command: its id is the object name of its action in the main menu.
struct ActionRow
{
    const char* id;
    QList<QKeySequence> keys;
    Needs needs;
    void (SlideController::*handler)();
    WhileWaiting whileWaiting = WhileWaiting::Waits;
    WhileHeld whileHeld = WhileHeld::Once;
};

const std::vector<ActionRow>& actionTable();

// All that the look of the commands depends on.
struct CommandState
{
    size_t slideCount = 0;
    bool timerRuns = false;
    bool windowMode = false;
    bool isWindowFullScreen = false; // for the window manager
    bool controlsVisible = false;
    bool showsFilePath = false;
    bool showsFileName = false;
    QString fitMode; // as stored
};

bool isEnabled(Needs needs, const CommandState& state);
// Only the four fit commands, each by its stored value, and the two of the label are ever checked.
bool isChecked(const QString& id, const CommandState& state);
// With its mnemonic. Empty for a command whose title never changes.
QString changingTitle(const QString& id, const CommandState& state);

} // namespace frameflow
