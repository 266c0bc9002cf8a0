#include "Duplicates.h"

#include "Sources.h"

#include <QRandomGenerator>
#include <QSet>
#include <QTest>

namespace frameflow {

namespace {

SlideItems itemsOf(const QByteArray& paths)
{
    SlideItems items;
    for (const auto& path : paths.split(' ')) {
        items.emplace_back(new SlideItem(FileUrl::fromPath('/' + path), {}, {}));
    }
    return items;
}

QByteArray textOf(const FileUrl& url)
{
    return url.path().mid(1);
}

QByteArray textOf(const SlideItems& items)
{
    QByteArrayList all;
    for (const auto& item : items) {
        all.append(textOf(item->mURL()));
    }
    return all.join(' ');
}

QByteArray textOf(const QList<FileUrl>& urls)
{
    QByteArrayList all;
    for (const auto& url : urls) {
        all.append(textOf(url));
    }
    return all.join(' ');
}

// The rule step by step.
QList<FileUrl> naiveRemoval(SlideItems& items)
{
    SlideItems jpegs;
    SlideItems others;
    for (const auto& item : items) {
        (item->isJPG() ? jpegs : others).push_back(item);
    }
    QList<FileUrl> removed;
    for (const auto& jpeg : jpegs) {
        for (const auto& other : others) {
            if (other->baseCompare(*jpeg) == 0) {
                removed.append(other->mURL());
                std::erase_if(items, [&](const auto& item) { return item->isEqual(*other); });
                break;
            }
        }
    }
    return removed;
}

} // namespace

class DuplicatesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rule_data();
    void rule();
    void ruleAgreesWithTheNaiveOne();
    void linksCountByTheirTargetsNames();
    void sourcesOverlap_data();
    void sourcesOverlap();
};

void DuplicatesTest::rule_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<QByteArray>("removed");
    const auto row = [](const char* name, const char* before, const char* after, const char* removed) {
        QTest::newRow(name) << QByteArray(before) << QByteArray(after) << QByteArray(removed);
    };
    row("camera pair", "IMG_7.CR2 IMG_7.JPG IMG_8.CR2", "IMG_7.JPG IMG_8.CR2", "IMG_7.CR2");
    row("only JPEGs", "a.jpg b/a.jpg", "a.jpg b/a.jpg", "");
    row("no JPEG", "a.png a.tif", "a.png a.tif", "");
    row("jpeg is another extension", "a.jpeg a.png", "a.jpeg a.png", "");
    row("a companion named jpeg", "a.jpg a.jpeg", "a.jpg", "a.jpeg");
    row("folders do not count", "x/a.jpg y/a.png", "x/a.jpg", "y/a.png");
    row("case counts", "IMG_1.jpg img_1.cr2", "IMG_1.jpg img_1.cr2", "");
    row("last extension only", "a.b.jpg a.png a.b.png", "a.b.jpg a.png", "a.b.png");
    row("first companion only", "a.png a.cr2 a.jpg", "a.cr2 a.jpg", "a.png");
    row("two JPEGs name the companion twice", "x/a.jpg y/a.JPG a.cr2 a.png", "x/a.jpg y/a.JPG a.png", "a.cr2 a.cr2");
    row("in the order of the JPEGs", "a.cr2 b.cr2 b.jpg a.jpg", "b.jpg a.jpg", "b.cr2 a.cr2");
    row("all equal items go", "a.cr2 a.jpg x/a.cr2 a.cr2", "a.jpg x/a.cr2", "a.cr2");
    row("single", "a.jpg", "a.jpg", "");
}

void DuplicatesTest::rule()
{
    QFETCH(const QByteArray, before);
    auto items = itemsOf(before);
    const size_t count = items.size();
    const auto duplicates = takeDuplicates(items);
    QTEST(textOf(items), "after");
    QTEST(textOf(duplicates.urls), "removed");
    QCOMPARE(items.size() + duplicates.items.size(), count);
    SlideItems none;
    QVERIFY(takeDuplicates(none).urls.isEmpty());
}

void DuplicatesTest::ruleAgreesWithTheNaiveOne()
{
    QRandomGenerator random(4);
    static const QByteArrayList extensions{"jpg", "JPG", "png", "cr2", "jpeg"};
    for (int round = 0; round < 300; ++round) {
        QByteArrayList names;
        for (int i = 0; i < 40; ++i) {
            names.append(QByteArray::number(random.bounded(2)) + '/' + QByteArray::number(random.bounded(12)) + '.'
                + extensions.at(random.bounded(5)));
        }
        auto items = itemsOf(names.join(' '));
        auto twin = items;
        const auto duplicates = takeDuplicates(items);
        QCOMPARE(textOf(duplicates.urls), textOf(naiveRemoval(twin)));
        QCOMPARE(textOf(items), textOf(twin));
        QCOMPARE(duplicates.leavesOthers, !naiveRemoval(twin).isEmpty());
    }
}

void DuplicatesTest::linksCountByTheirTargetsNames()
{
    SlideItems items{SlideItemPtr(new SlideItem(FileUrl::fromPath(QByteArray("/holiday.jpg")), {}, "IMG_1.jpg")),
        SlideItemPtr(new SlideItem(FileUrl::fromPath(QByteArray("/IMG_1.cr2")), {}, {})),
        SlideItemPtr(new SlideItem(FileUrl::fromPath(QByteArray("/holiday.png")), {}, {}))};
    QCOMPARE(textOf(takeDuplicates(items).urls), "IMG_1.cr2");
    QCOMPARE(textOf(items), "holiday.jpg holiday.png");
}

void DuplicatesTest::sourcesOverlap_data()
{
    QTest::addColumn<QByteArray>("sources");
    QTest::addColumn<bool>("expected");
    const auto row = [](const char* name, const char* sources, bool expected) {
        QTest::newRow(name) << QByteArray(sources) << expected;
    };
    row("single", "/a", false);
    row("two folders", "/a /b", false);
    row("a file twice", "/a.jpg /b.jpg /a.jpg", true);
    row("a file in a folder", "/a/x.jpg /b /a", true);
    row("names with a common beginning", "/a /ab /a.jpg /a-b", false);
    row("a folder below a folder, others between in byte order", "/a /a-b /a.c /a/d/e", true);
    row("the root", "/ /a", true);
}

void DuplicatesTest::sourcesOverlap()
{
    QFETCH(const QByteArray, sources);
    QList<FileUrl> urls;
    for (const auto& path : sources.split(' ')) {
        urls.append(FileUrl::fromPath(path));
    }
    QTEST(frameflow::sourcesOverlap(urls), "expected");
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::DuplicatesTest)
#include "DuplicatesTest.moc"
