#pragma once

#include "MovieFiles.h"
#include "MoviePlayerView.h"
#include "MovieSurface.h"
#include "PictureFiles.h"
#include "PlayedMovies.h"
#include "ViewFixture.h"
#include "XServer.h"

#include <QtTest>

#include <atomic>
#include <functional>
#include <thread>

namespace frameflow {

inline const QSize viewSize(400, 240);

// A view that draws with OpenGL, stretching what it shows; not shown yet.
struct Window : ViewFixture
{
    explicit Window(LayerDrawing drawing = LayerDrawing::OpenGL) : ViewFixture(viewSize)
    {
        view = std::make_unique<KLLayerView>(defaults, clock, nullptr, drawing);
        view->setWindowFlags(Qt::FramelessWindowHint);
        view->resize(viewSize);
        setFitMode(keys::fitModeStretch);
    }
};

// Looks at the screen all the time, from a thread of its own.
class Watch
{
public:
    // "IsExpected" is asked on that thread, of each picture.
    Watch(const QRect& area, std::function<bool(const QImage&)> isExpected)
        : mThread([this, area, isExpected = std::move(isExpected)] {
              const auto server = e2e::XServer::open();
              while (server && !mIsOver) {
                  const QImage seen = server->grab(area);
                  mLooks += 1;
                  if (!isExpected(seen)) {
                      mSurprises += 1;
                      mSurprise = seen.pixel(seen.width() / 4, seen.height() / 4);
                  }
              }
          })
    {
    }
    ~Watch()
    {
        mIsOver = true;
        mThread.join();
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // What was seen and not expected; empty for nothing.
    QByteArray surprises() const
    {
        if (mSurprises == 0 && mLooks > 0) {
            return {};
        }
        const QByteArray times = QByteArray::number(mSurprises) + " of " + QByteArray::number(mLooks);
        return times + ", like " + QByteArray::number(mSurprise, 16);
    }
    bool hasLooked(int times) const { return mLooks >= times; }

private:
    std::atomic<bool> mIsOver = false;
    std::atomic<int> mLooks = 0;
    std::atomic<int> mSurprises = 0;
    std::atomic<QRgb> mSurprise = 0;
    std::thread mThread; // the last: the others are there when it starts
};

// Movies, and a window to show them on.
class MovieSurfaceFixture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        mServer = e2e::XServer::open();
        QVERIFY(mServer);
        mFiles = std::make_unique<MovieFiles>();
        QVERIFY(mFiles->make("still.mkv", MovieFiles::quarters() + " -c:v ffv1 -pix_fmt yuv444p"));
        QVERIFY(mFiles->make("turned.mp4", MovieFiles::quarters() + " -c:v libx264 -pix_fmt yuv420p"));
        QVERIFY(mFiles->make("short.mkv", MovieFiles::numbers() + " -c:v ffv1 -t 1"));
        QVERIFY(mFiles->make("long.mkv", MovieFiles::numbers() + ' ' + MovieFiles::sound() + " -c:v ffv1 -c:a flac"));
        QVERIFY(mFiles->make("sound.mp3", MovieFiles::sound() + " -t 5"));
        QVERIFY(mFiles->make("glass.mov", "-f lavfi -i color=white@0.5:s=80x48:r=10:d=1,format=rgba -c:v qtrle"));
    }
    void init()
    {
        mWindow = std::make_unique<Window>();
        view().show();
        QVERIFY(QTest::qWaitForWindowExposed(&view()));
    }
    void cleanup()
    {
        mWindow.reset();
        QVERIFY(MovieEngine::waitForThreads(std::chrono::seconds(10)));
    }

protected:
    KLLayerView& view() const { return *mWindow->view; }
    MoviePlayerView& playerView() const { return *view().moviePlayerView(); }
    MovieSurface* surface() const { return playerView().findChild<MovieSurface*>(); }
    FileUrl url(const QByteArray& name) const { return mFiles->folder().urlOf(name); }
    MoviePlayerPtr movie(const QByteArray& name) const
    {
        return MoviePlayer::playerWithURL(url(name), probed(url(name)), view().movieOutput());
    }
    QRect place() const { return {view().mapToGlobal(QPoint()), view().size()}; }
    QImage seen() const { return mServer->grab(place()); }

    // Until it goes on.
    bool play(const QByteArray& name) const
    {
        const MoviePlayerPtr player = movie(name);
        view().showMovie(player, true);
        return QTest::qWaitFor([&] { return player->position() > 0; }, 20000);
    }
    bool playToEnd(const QByteArray& name) const
    {
        const MoviePlayerPtr player = movie(name);
        const PlayerLog log(player);
        view().showMovie(player, true);
        return log.waitForEnd() && log.ended == 1;
    }

    std::unique_ptr<e2e::XServer> mServer;
    std::unique_ptr<MovieFiles> mFiles;
    std::unique_ptr<Window> mWindow;
};

} // namespace frameflow
