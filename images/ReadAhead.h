#pragma once

#include "DecodedPicture.h"
#include "FileUrl.h"
#include "FrameRule.h"
#include "KLImage.h"

#include <functional>
#include <memory>
#include <vector>

namespace frameflow {

class DecoderPool;

// A file and how large it is to be shown. Without a rule nothing is reduced for it.
struct AheadFile
{
    FileUrl url;
    FrameRule frame;
};

// What a decoder found out about a movie: what it is, and its first frame or, of sound, its cover; null without one.
struct ProbedMovie
{
    MovieFacts facts;
    KLImagePtr picture;
};

// Has the slides that come next decoded, and reduced to the size they are shown in, while the viewer looks at the one
// on screen. Beneath KLImageCache: what that holds is not decoded again. Main thread, but for take().
class ReadAhead
{
public:
    // More files than these are never held decoded.
    static constexpr size_t mostFiles = 3;

    // The one of the process, on DecoderPool::instance().
    static ReadAhead& instance();

    // The pool outlives it.
    explicit ReadAhead(DecoderPool& pool);
    // Gives up what is being decoded.
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // Has the first mostFiles of these prepared, in this order; what is not among them is given up and dropped, but for
    // the file that is asked for.
    void setWanted(const std::vector<AheadFile>& files);

    // Whether the file's picture, or that it has none, is known now, with nothing left to do before it is presented. A
    // finished picture whose file has changed since is none. Files whose file system may not answer at once are never
    // ready before they were asked for.
    bool isReady(const AheadFile& file) const;

    // Somebody waits for that file: it comes before everything else. "Ready" is called once from the event loop when
    // isReady() holds, unless cancelAsked() or another ask() comes before.
    void ask(const AheadFile& file, std::function<void()> ready);
    void cancelAsked();
    bool isAsking() const;

    // Looks, without waiting, whether the file of a picture is still the one that was decoded; "changed" is called from
    // the event loop when it is another one. Nothing is called when it is gone.
    void lookAt(const KLImagePtr& image, std::function<void()> changed);

    // The file's picture, null when it has none: a finished one, one in progress, which is waited for, or one that is
    // decoded now. Any thread; blocks. What it gives away is no longer held here.
    KLImagePtr take(const FileUrl& url);

    // The file's picture if it is held decoded, here or in KLImageCache, whether its file has changed since or not;
    // else null.
    KLImagePtr held(const FileUrl& url) const;

    // What isReady() has told of a movie; absent when it is none, or is not ready. What it gives away is no longer held
    // here.
    std::optional<ProbedMovie> takeMovie(const FileUrl& url);

    void purge();

    // What is being decoded or held, in no order.
    std::vector<FileUrl> files() const;

private:
    class State;
    std::shared_ptr<State> mState;
};

} // namespace frameflow
