#pragma once

#include "DecoderPool.h"
#include "MovieFiles.h"
#include "MoviePlayer.h"

#include <QTest>

namespace frameflow {

// What the decoders say of a movie.
inline ProbedMovie probed(const FileUrl& url)
{
    DecodeJob job;
    job.url = url;
    job.request.wanted = Wanted::MovieProbe;
    job.request.fileName = url.fileName().toByteArray();
    DecodedFile file = DecoderPool::instance().decodeAndWait(job);
    ProbedMovie movie;
    movie.facts = file.picture.movie.value_or(MovieFacts());
    movie.picture = KLImage::imageWithDecoded(url, std::move(file));
    return movie;
}

inline MoviePlayerPtr playerFor(const FileUrl& url)
{
    return MoviePlayer::playerWithURL(url, probed(url));
}

// Counts what a player tells, and keeps the numbers that its frames show.
struct PlayerLog
{
    explicit PlayerLog(const MoviePlayerPtr& player)
    {
        MoviePlayer* const watched = player.get();
        QObject::connect(watched, &MoviePlayer::didPlayToEnd, &context, [this] { ++ended; });
        QObject::connect(watched, &MoviePlayer::failedToPlayToEnd, &context, [this] { ++failed; });
        QObject::connect(watched, &MoviePlayer::began, &context, [this] { ++began; });
        QObject::connect(watched, &MoviePlayer::frameChanged, &context, [this, watched] {
            frame = watched->frame().copy();
            numbers.append(numberIn(frame));
        });
    }

    bool waitForEnd(int milliseconds = 20000) const
    {
        return QTest::qWaitFor([this] { return ended + failed > 0; }, milliseconds);
    }
    bool waitForNumber(int number) const
    {
        return QTest::qWaitFor([&] { return !numbers.isEmpty() && numbers.last() == number; }, 10000);
    }

    int ended = 0;
    int failed = 0;
    int began = 0;
    QList<int> numbers;
    QImage frame;
    QObject context; // the last: first to go
};

} // namespace frameflow
