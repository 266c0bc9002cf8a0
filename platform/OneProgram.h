#pragma once

#include "FileUrl.h"
#include "LaunchToken.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace frameflow {

// Sees to it that a session has one program of its kind, which shows what the desktop and later starts ask for. It
// takes a name on the session's bus; where another program has it, what this one was started for goes to that one. All
// of that is done by a thread of its own, so that a bus that does not answer holds up nobody. Main thread only; may be
// made before the application object.
class OneProgram
{
public:
    static constexpr const char* busName = "com.quillory.Frameflow";

    // What the program was started for.
    struct Purpose
    {
        bool isService = false; // started by the bus, to be told what to do: nothing is handed over
        QList<FileUrl> files; // none: to come to the front
        LaunchToken token;
    };

    enum class Place
    {
        First, // the name is this program's
        Alone, // there is no bus, or nobody behind the name who understands
        Second, // another program does what this one was started for
    };

    // What others ask for, on the main thread and in the order of asking. All must be set.
    struct Requests
    {
        std::function<void(const LaunchToken&)> activate;
        std::function<void(const QList<FileUrl>&, const LaunchToken&)> open;
        // False when there is no such command.
        std::function<bool(const QByteArray& command, const LaunchToken&)> perform;
        // The place has become known after all: never called when wait() has answered it.
        std::function<void(Place)> placeIsKnown;
    };

    // Begins at once. The bus is that of the session, or the one at the address.
    explicit OneProgram(Purpose purpose, const QString& busAddress = {});
    // Gives the name back. Who still waits for an answer is told that nobody is there.
    ~OneProgram();
    OneProgram(const OneProgram&) = delete;
    OneProgram& operator=(const OneProgram&) = delete;

    // As soon as it is known; absent when the bus has not even said within that time whether there is another program.
    // One that is there is given up to three seconds to answer.
    std::optional<Place> wait(std::chrono::milliseconds patience);

    // From now on, requests are told, those too that came before. Needs the application object.
    void serve(Requests requests);

private:
    class Session;
    std::shared_ptr<Session> mSession;
};

} // namespace frameflow
