#pragma once

#include "TestFiles.h"

#include <QColor>
#include <QList>

namespace frameflow {

// Pictures whose decoding takes until a test lets it end. A decoder of the tests decodes them, and all others as usual.
class HeldPictures
{
public:
    // To be called once, before anything is decoded.
    static void useDecoder();

    explicit HeldPictures(const TestFolder& folder) : mFolder(folder) { }

    void add(const QByteArray& name, QColor colour) { addTo(mFolder, name, colour); }
    void addTo(const TestFolder& folder, const QByteArray& name, QColor colour);

    // The decoders that have been given the file, in their order.
    QList<qint64> decodersOf(const QByteArray& name) const;
    // Lets the decoding of the file end, with its picture or as that of a damaged file. Without effect where nobody
    // decodes it any more.
    void release(const QByteArray& name) { answer(name, 'g'); }
    void spoil(const QByteArray& name) { answer(name, 'b'); }

private:
    void answer(const QByteArray& name, char word);

    const TestFolder& mFolder;
    TestFolder mPipes; // where the decoder waits for a word
};

} // namespace frameflow
