// The decoders as a module, for a program that can start none as a process.

#include "DecodedPicture.h"
#include "FileContents.h"
#include "PictureFiles.h"
#include "TypeSamples.h"

#include <QTest>

#include <dlfcn.h>

using namespace frameflow;

using Function = void (*)(int descriptor, const DecodeRequest* request, DecodedPicture* result);

class DecoderModuleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyKindOfTypeIsDecoded_data();
    void everyKindOfTypeIsDecoded();
    void badFilesAreTold();
    void nothingElseIsExported();

private:
    DecodedPicture decode(const QByteArray& name) const
    {
        DecodeRequest request;
        request.fileName = name;
        DecodedPicture picture;
        mDecode(openForDecoding(mFolder.urlOf(name)).number(), &request, &picture);
        return picture;
    }

    TestFolder mFolder;
    void* mModule = nullptr;
    Function mDecode = nullptr;
};

void DecoderModuleTest::initTestCase()
{
    mModule = dlopen(FRAMEFLOW_DECODER_MODULE, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    QVERIFY2(mModule, dlerror());
    mDecode = reinterpret_cast<Function>(dlsym(mModule, "frameflowDecode"));
    QVERIFY(mDecode);
    const QByteArray in = mFolder.addFile("a.png", encoded(quartersPicture(), "png"));
    for (const TypeSample& sample : typeSamples()) {
        const QByteArray name = sample.name;
        if (name == "a.jpg" || name == "a.jp2" || name == "a.psd" || name == "a.exr" || name == "a.heic") {
            QVERIFY2(makeTypeSample(sample, in, mFolder.pathOf(name)), sample.name);
        }
    }
    mFolder.addFile("a.dng", cameraRaw(QSize(128, 96), 1));
    mFolder.addFile("bad.png", "\x89PNG\r\n\x1a\n");
}

void DecoderModuleTest::everyKindOfTypeIsDecoded_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* const name : {"a.png", "a.jpg", "a.jp2", "a.psd", "a.exr", "a.heic"}) {
        QTest::newRow(name) << QByteArray(name);
    }
}

void DecoderModuleTest::everyKindOfTypeIsDecoded()
{
    QFETCH(QByteArray, name);
    const DecodedPicture picture = decode(name);
    QCOMPARE(picture.error, DecodeError::None);
    QCOMPARE(picture.size, quartersSize);
    QCOMPARE(quarters(picture.pixels, 40), QByteArray("RGBY"));
}

void DecoderModuleTest::badFilesAreTold()
{
    QCOMPARE(decode("bad.png").error, DecodeError::Damaged);
    QCOMPARE(decode("a.dng").error, DecodeError::None);
    QCOMPARE(decode("missing.png").error, DecodeError::Unreadable);
}

// The program may hold the same code, in another state.
void DecoderModuleTest::nothingElseIsExported()
{
    QVERIFY(!dlsym(mModule, "_ZN9frameflow13decodePictureEiRKNS_13DecodeRequestE"));
    QVERIFY(!dlsym(mModule, "_ZN9frameflow17useExtraDecodersEPKNS_13ExtraDecodersE"));
}

QTEST_GUILESS_MAIN(DecoderModuleTest)
#include "DecoderModuleTest.moc"
