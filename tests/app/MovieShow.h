#pragma once

#include "ControllerFixture.h"
#include "MovieFiles.h"
#include "MoviePlayerView.h"

#include <QtTest>

namespace frameflow {

// A show with movies in it, each of which is numbered pictures, or sound.
class MovieShow
{
public:
    // Movies by the names short.mkv (0.4 seconds), long.mkv (ten seconds), wide.mkv (256 by 96) and sound.mp3.
    static std::unique_ptr<MovieFiles> makeFiles()
    {
        auto files = std::make_unique<MovieFiles>();
        const bool made = files->make("short.mkv", MovieFiles::numbers() + " -c:v ffv1 -t 0.4")
            && files->make("long.mkv", MovieFiles::numbers() + " -c:v ffv1")
            && files->make("wide.mkv", MovieFiles::numbers() + " -vf scale=256:96,setsar=1 -c:v ffv1")
            && files->make("sound.mp3", MovieFiles::sound() + " -t 0.4");
        return made ? std::move(files) : nullptr;
    }

    explicit MovieShow(const MovieFiles& files) : mFiles(files) { fixture.set(keys::endMode, keys::endModeRewind); }

    void addMovie(const QByteArray& name, const QByteArray& like = "short.mkv") const
    {
        fixture.folder.addFile(name, mFiles.contentsOf(like));
    }
    SlideController& open()
    {
        fixture.start();
        if (!fixture.openFolder()) {
            qFatal("the show does not rest");
        }
        return controller();
    }
    bool waitFor(const QByteArray& name)
    {
        return QTest::qWaitFor([&] { return fixture.shown() == name && !controller().isWaitingForSlide(); }, 10000);
    }
    SlideController& controller() { return fixture.controller(); }
    KLLayerView& view() { return *controller().slideView(); }
    bool isMovieOn() { return controller().movie() && view().isMovieActive(); }

    ControllerFixture fixture;

private:
    const MovieFiles& mFiles;
};

} // namespace frameflow
