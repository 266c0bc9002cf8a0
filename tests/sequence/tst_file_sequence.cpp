#include "SequenceTest.h"

namespace frameflow {

class FileSequenceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void filesListedTwiceGiveTwoEqualItems();
};

void FileSequenceTest::filesListedTwiceGiveTwoEqualItems()
{
    SequenceFixture f;
    const auto path = f.folder.addFile("a.jpg");
    f.sequence.addFiles({path, path});
    QCOMPARE(f.names(), "a.jpg a.jpg");
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::FileSequenceTest)
#include "tst_file_sequence.moc"
