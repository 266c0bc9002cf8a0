#include "RescanPlan.h"

#include "Duplicates.h"

#include <QRandomGenerator>
#include <QSet>
#include <QTest>

#include <algorithm>
#include <iterator>

Q_DECLARE_METATYPE(frameflow::SortOrder)

namespace frameflow {

namespace {

SlideItemPtr item(const QByteArray& name)
{
    return SlideItemPtr(new SlideItem(FileUrl::fromPath("/hot/" + name), {}, {}));
}

SlideItems itemsOf(const QByteArray& names)
{
    SlideItems items;
    for (const auto& name : names.isEmpty() ? QByteArrayList() : names.split(' ')) {
        items.push_back(item(name));
    }
    return items;
}

QByteArray namesOf(const SlideItems& items)
{
    QByteArrayList names;
    for (const auto& one : items) {
        names.append(one->mURL().fileName().toByteArray());
    }
    return names.join(' ');
}

UrlList urlsOf(const QByteArray& names)
{
    UrlList urls;
    for (const auto& one : itemsOf(names)) {
        urls.append(one->mURL());
    }
    return urls;
}

// A list, its cursor, and what has come and gone.
struct Scene
{
    Scene(const QByteArray& names, quint64 cursorAtFirst, const QByteArray& goneNames, const QByteArray& newNames)
    {
        const SlideItems all = itemsOf(names);
        for (const auto& one : all) {
            if (goneNames.split(' ').contains(one->mURL().fileName().toByteArray())) {
                changes.vanished.push_back(one);
            }
        }
        state.items = ItemList(SlideItems(all));
        state.cursor = cursorAtFirst;
        changes.fresh = itemsOf(newNames);
        items = state.items;
        cursor = cursorAtFirst;
    }

    RescanPlan apply()
    {
        RescanPlan plan(state, changes);
        plan.apply(items, cursor);
        return plan;
    }
    QByteArray names() const { return namesOf(items.copy()); }

    ListState state;
    TreeChanges changes;
    ItemList items;
    quint64 cursor = 0;
};

constexpr quint64 nowhere = ~quint64(0);

// The rules, step by step on plain lists, at the moment of application.
struct Naive
{
    SlideItems items;
    quint64 cursor;
    QByteArray removed;

    void rescan(const SlideItems& listed, const UrlList& barred, SortOrder order, bool newItemsNext)
    {
        const auto isIn = [](const SlideItems& list, const SlideItemPtr& one) {
            return std::any_of(list.begin(), list.end(), [&](const auto& other) { return other->isEqual(*one); });
        };
        SlideItems found;
        SlideItems fresh;
        for (const auto& one : listed) {
            bool isBarred = false;
            barred.forEach([&](const FileUrl& url, size_t) { isBarred = isBarred || url == one->mURL(); });
            if (!isBarred) {
                (isIn(items, one) ? found : fresh).push_back(one);
            }
        }
        if (fresh.empty() && found.size() == items.size()) {
            return;
        }
        const SlideItemPtr current = cursor < items.size() ? items[cursor] : SlideItemPtr();
        std::erase_if(items, [&](const auto& one) { return !isIn(found, one); });
        const auto place = std::find(items.begin(), items.end(), current);
        cursor = current && place != items.end() ? quint64(place - items.begin()) : quint64(items.size()) - 1;
        const size_t insertion = cursor + 1;
        if (fresh.empty()) {
            return;
        }
        if (newItemsNext) {
            sortItems(fresh, order);
            items.insert(items.begin() + qsizetype(insertion), fresh.begin(), fresh.end());
        } else {
            items.insert(items.end(), fresh.begin(), fresh.end());
            sortItems(items, order);
        }
        for (const auto& url : takeDuplicates(items).urls) {
            removed += url.fileName().toByteArray() + ' ';
        }
    }
};

} // namespace

class RescanPlanTest : public QObject
{
    Q_OBJECT

    static void compareWithNaiveTwin(const ListState& state, const SlideItems& listed);

private Q_SLOTS:
    void newItemsComeAfterTheCurrentOne_data();
    void newItemsComeAfterTheCurrentOne();
    void newItemsJoinTheOrder_data();
    void newItemsJoinTheOrder();
    void vanishedItems_data();
    void vanishedItems();
    void newItemsFollowTheSetOrder_data();
    void newItemsFollowTheSetOrder();
    void randomOrderKeepsAllItems();
    void cursorMovesBeforeThePlanIsApplied_data();
    void cursorMovesBeforeThePlanIsApplied();
    void barredFilesDoNotCome();
    void duplicatesLeave_data();
    void duplicatesLeave();
    void itemsKeepTheirOldAttributes();
    void equalItemsVanishAlone();
    void behavesAsItsNaiveTwin_data();
    void behavesAsItsNaiveTwin();
    void littleChangesShareTheListsMemory();
};

void RescanPlanTest::newItemsComeAfterTheCurrentOne_data()
{
    QTest::addColumn<QByteArray>("names");
    QTest::addColumn<quint64>("cursor");
    QTest::addColumn<QByteArray>("gone");
    QTest::addColumn<QByteArray>("fresh");
    QTest::addColumn<QByteArray>("result");
    QTest::addColumn<quint64>("newCursor");
    const auto row = [](const char* name, const char* names, quint64 cursor, const char* gone, const char* fresh,
                         const char* result, quint64 newCursor) {
        QTest::newRow(name) << QByteArray(names) << cursor << QByteArray(gone) << QByteArray(fresh)
                            << QByteArray(result) << newCursor;
    };
    row("in the middle", "0 1 2 3 4 5 6 7 8 9", 3, "", "y x", "0 1 2 3 x y 4 5 6 7 8 9", 3);
    row("at the beginning", "a b c", 0, "", "x", "a x b c", 0);
    row("at the end", "a b c", 2, "", "x", "a b c x", 2);
    row("into an empty list", "", 0, "", "y x", "x y", nowhere);
    row("into a list that became empty", "", nowhere, "", "x", "x", nowhere);
    row("with some gone before", "a b c d", 2, "a b", "x", "c x d", 0);
    row("with some gone behind", "a b c d", 1, "c d", "x", "a b x", 1);
    row("the current one gone", "a b c d", 1, "b", "x y", "a c d x y", 2);
    row("all gone", "a b", 1, "a b", "x", "x", nowhere);
    row("cursor behind the end", "a b", 2, "", "x", "a b x", 1);
    row("cursor nowhere", "a b", nowhere, "", "x", "a b x", 1);
}

void RescanPlanTest::newItemsComeAfterTheCurrentOne()
{
    QFETCH(const QByteArray, names);
    QFETCH(const quint64, cursor);
    QFETCH(const QByteArray, gone);
    QFETCH(const QByteArray, fresh);
    Scene scene(names, cursor, gone, fresh);
    const auto plan = scene.apply();
    QTEST(scene.names(), "result");
    QTEST(scene.cursor, "newCursor");
    QVERIFY(plan.foundNew());
    QVERIFY(plan.insertsItems());
    QVERIFY(!plan.sortsAll());
}

void RescanPlanTest::newItemsJoinTheOrder_data()
{
    QTest::addColumn<QByteArray>("names");
    QTest::addColumn<quint64>("cursor");
    QTest::addColumn<QByteArray>("gone");
    QTest::addColumn<QByteArray>("fresh");
    QTest::addColumn<QByteArray>("result");
    QTest::addColumn<quint64>("newCursor");
    const auto row = [](const char* name, const char* names, quint64 cursor, const char* gone, const char* fresh,
                         const char* result, quint64 newCursor) {
        QTest::newRow(name) << QByteArray(names) << cursor << QByteArray(gone) << QByteArray(fresh)
                            << QByteArray(result) << newCursor;
    };
    row("cursor keeps its number", "b c d e f", 3, "", "a g", "a b c d e f g", 3);
    row("in no order before", "d b c", 1, "", "a", "a b c d", 1);
    row("some gone before", "b c d e", 3, "b", "a", "a c d e", 2);
    row("the current one gone", "b c d e", 1, "c", "a", "a b d e", 2);
    row("into an empty list", "", 0, "", "b a", "a b", nowhere);
    row("cursor nowhere", "b c", nowhere, "", "a", "a b c", 1);
}

void RescanPlanTest::newItemsJoinTheOrder()
{
    QFETCH(const QByteArray, names);
    QFETCH(const quint64, cursor);
    QFETCH(const QByteArray, gone);
    QFETCH(const QByteArray, fresh);
    Scene scene(names, cursor, gone, fresh);
    scene.state.newItemsNext = false;
    const auto plan = scene.apply();
    QTEST(scene.names(), "result");
    QTEST(scene.cursor, "newCursor");
    QVERIFY(plan.foundNew());
    QVERIFY(plan.sortsAll());
    QVERIFY(!plan.insertsItems());
}

void RescanPlanTest::vanishedItems_data()
{
    QTest::addColumn<quint64>("cursor");
    QTest::addColumn<QByteArray>("gone");
    QTest::addColumn<QByteArray>("result");
    QTest::addColumn<quint64>("newCursor");
    QTest::newRow("before the cursor") << quint64(4) << QByteArray("a c") << QByteArray("e b d") << quint64(2);
    QTest::newRow("behind the cursor") << quint64(1) << QByteArray("d b") << QByteArray("e a c") << quint64(1);
    QTest::newRow("at the cursor") << quint64(1) << QByteArray("a") << QByteArray("e b c d") << quint64(3);
    QTest::newRow("all") << quint64(1) << QByteArray("a b c d e") << QByteArray("") << nowhere;
    QTest::newRow("cursor nowhere") << nowhere << QByteArray("a") << QByteArray("e b c d") << quint64(3);
}

void RescanPlanTest::vanishedItems()
{
    QFETCH(const quint64, cursor);
    QFETCH(const QByteArray, gone);
    for (const bool newItemsNext : {true, false}) {
        // Those that stay keep the order that they were in.
        Scene scene("e a b c d", cursor, gone, "");
        scene.state.newItemsNext = newItemsNext;
        const auto plan = scene.apply();
        QTEST(scene.names(), "result");
        QTEST(scene.cursor, "newCursor");
        QVERIFY(!plan.foundNew());
        QVERIFY(!plan.sortsAll());
        QVERIFY(!plan.insertsItems());
    }
}

void RescanPlanTest::newItemsFollowTheSetOrder_data()
{
    QTest::addColumn<SortOrder>("order");
    QTest::addColumn<QByteArray>("result");
    QTest::newRow("name") << SortOrder::Name << QByteArray("a x2 x10 X11 b");
    QTest::newRow("path") << SortOrder::Url << QByteArray("a X11 x10 x2 b");
    QTest::newRow("date") << SortOrder::Date << QByteArray("a x10 X11 x2 b");
}

void RescanPlanTest::newItemsFollowTheSetOrder()
{
    QFETCH(const SortOrder, order);
    Scene scene("a b", 0, "", "");
    scene.state.order = order;
    int seconds = 0;
    for (const char* name : {"x10", "X11", "x2"}) {
        scene.changes.fresh.emplace_back(
            new SlideItem(FileUrl::fromPath(QByteArray("/hot/") + name), {++seconds, 0}, {}));
    }
    scene.apply();
    QTEST(scene.names(), "result");
}

void RescanPlanTest::randomOrderKeepsAllItems()
{
    for (const bool newItemsNext : {true, false}) {
        Scene scene("a b c d e f", 2, "b", "x y z");
        scene.state.order = SortOrder::Random;
        scene.state.newItemsNext = newItemsNext;
        scene.apply();
        QCOMPARE(scene.cursor, quint64(1));
        auto names = scene.names().split(' ');
        if (newItemsNext) {
            QCOMPARE(names.mid(0, 2), (QByteArrayList{"a", "c"}));
            QCOMPARE(names.mid(5), (QByteArrayList{"d", "e", "f"}));
        }
        std::sort(names.begin(), names.end());
        QCOMPARE(names.join(' '), "a c d e f x y z");
    }
}

void RescanPlanTest::cursorMovesBeforeThePlanIsApplied_data()
{
    QTest::addColumn<quint64>("cursor");
    QTest::addColumn<QByteArray>("result");
    QTest::addColumn<quint64>("newCursor");
    QTest::newRow("forward") << quint64(4) << QByteArray("a c.jpg e x f") << quint64(3);
    QTest::newRow("back") << quint64(0) << QByteArray("a x c.jpg e f") << quint64(0);
    QTest::newRow("onto what leaves as a duplicate") << quint64(3) << QByteArray("a c.jpg x e f") << quint64(2);
    QTest::newRow("onto what has vanished") << quint64(1) << QByteArray("a c.jpg e f x") << quint64(4);
    QTest::newRow("nowhere") << nowhere << QByteArray("a c.jpg e f x") << quint64(4);
}

// b vanishes, which moves the cursor; c.png leaves as the companion of c.jpg, which leaves the cursor's number alone.
void RescanPlanTest::cursorMovesBeforeThePlanIsApplied()
{
    QFETCH(const quint64, cursor);
    Scene scene("a b c.jpg c.png e f", 2, "b", "x");
    RescanPlan plan(scene.state, scene.changes);
    scene.cursor = cursor;
    plan.apply(scene.items, scene.cursor);
    QTEST(scene.names(), "result");
    QTEST(scene.cursor, "newCursor");
}

void RescanPlanTest::barredFilesDoNotCome()
{
    for (const bool newItemsNext : {true, false}) {
        Scene scene("a", 0, "", "b c d");
        scene.state.newItemsNext = newItemsNext;
        scene.state.removed = urlsOf("b q");
        scene.state.trashed = urlsOf("d");
        QVERIFY(scene.apply().foundNew());
        QCOMPARE(scene.names(), "a c");

        Scene nothing("a", 0, "", "b");
        nothing.state.newItemsNext = newItemsNext;
        nothing.state.removed = urlsOf("b");
        const RescanPlan plan(nothing.state, nothing.changes);
        QVERIFY(!plan.foundNew());
        QVERIFY(plan.changesNothing());
    }
}

void RescanPlanTest::duplicatesLeave_data()
{
    QTest::addColumn<bool>("newItemsNext");
    QTest::addColumn<QByteArray>("names");
    QTest::addColumn<quint64>("cursor");
    QTest::addColumn<QByteArray>("fresh");
    QTest::addColumn<QByteArray>("result");
    QTest::addColumn<QByteArray>("removed");
    const auto row = [](const char* name, bool next, const char* names, quint64 cursor, const char* fresh,
                         const char* result, const char* removed) {
        QTest::newRow(name) << next << QByteArray(names) << cursor << QByteArray(fresh) << QByteArray(result)
                            << QByteArray(removed);
    };
    row("a new companion", true, "a.jpg b.jpg", 1, "a.cr2 x.jpg", "a.jpg b.jpg x.jpg", "a.cr2");
    row("an old companion", true, "a.cr2 b.jpg", 1, "a.jpg", "b.jpg a.jpg", "a.cr2");
    row("both are new", true, "b.jpg", 0, "a.jpg a.cr2", "b.jpg a.jpg", "a.cr2");
    row("the current one is the companion", true, "b.jpg a.cr2 c.jpg", 1, "a.jpg", "b.jpg a.jpg c.jpg", "a.cr2");
    row("only new ones, and all leave", true, "a.jpg b.jpg", 0, "b.png a.png", "a.jpg b.jpg", "a.png b.png");
    row("into the order, a new companion", false, "a.jpg b.jpg", 1, "a.cr2 x.jpg", "a.jpg b.jpg x.jpg", "a.cr2");
    row("into the order, an old companion", false, "a.cr2 b.jpg", 1, "a.jpg", "a.jpg b.jpg", "a.cr2");
}

void RescanPlanTest::duplicatesLeave()
{
    QFETCH(const bool, newItemsNext);
    QFETCH(const QByteArray, names);
    QFETCH(const quint64, cursor);
    QFETCH(const QByteArray, fresh);
    Scene scene(names, cursor, "", fresh);
    scene.state.newItemsNext = newItemsNext;
    auto plan = scene.apply();
    QTEST(scene.names(), "result");
    QCOMPARE(scene.cursor, cursor);
    QVERIFY(plan.foundNew());
    QByteArrayList removed;
    plan.takeDuplicateURLs().forEach([&](const FileUrl& url, size_t) { removed.append(url.fileName().toByteArray()); });
    QTEST(removed.join(' '), "removed");
}

void RescanPlanTest::itemsKeepTheirOldAttributes()
{
    Scene scene("a b", 0, "a", "x");
    const auto kept = scene.items.at(1);
    scene.apply();
    QVERIFY(scene.items.at(0) == kept);
}

void RescanPlanTest::equalItemsVanishAlone()
{
    Scene scene("a b a", 0, "", "");
    scene.changes.vanished = {scene.items.at(2)};
    scene.apply();
    QCOMPARE(scene.names(), "a b");
}

void RescanPlanTest::behavesAsItsNaiveTwin_data()
{
    QTest::addColumn<int>("names");
    QTest::addColumn<int>("rounds");
    QTest::addColumn<int>("changes"); // of a hundred
    QTest::newRow("short lists") << 6 << 3000 << 40;
    QTest::newRow("few changes of a long list") << 400 << 15 << 2;
    QTest::newRow("many changes of a long list") << 400 << 15 << 60;
}

// Each of the things that a list may say of itself is sometimes left unsaid.
void RescanPlanTest::behavesAsItsNaiveTwin()
{
    QFETCH(const int, names);
    QFETCH(const int, rounds);
    QFETCH(const int, changes);
    QRandomGenerator random(11);
    for (int round = 0; round < rounds; ++round) {
        SlideItems all;
        SlideItems listed;
        ListState state;
        for (int name = 0; name < names; ++name) {
            for (const char* const suffix : {".jpg", ".png", ".JPG"}) {
                const auto one = item(QByteArray::number(name) + suffix);
                const bool isIn = random.bounded(100) < 45;
                const bool isListed = random.bounded(100) < changes ? !isIn : isIn;
                if (isIn) {
                    all.push_back(one);
                }
                if (isListed) {
                    listed.push_back(isIn ? one : item(QByteArray::number(name) + suffix));
                }
                if (random.bounded(100) < 10) {
                    state.removed.append(one->mURL());
                }
            }
        }
        state.order = random.bounded(2) == 0 ? SortOrder::Name : SortOrder::Url;
        if (random.bounded(2) == 0) {
            takeDuplicates(all);
        }
        frameflow::sortItems(all, random.bounded(3) == 0 ? SortOrder::Random : state.order);
        frameflow::sortItems(listed, SortOrder::Random);
        SlideItems sorted = all;
        frameflow::sortItems(sorted, state.order);
        state.isInOrder = sorted == all && random.bounded(4) != 0;
        SlideItems left = all;
        state.isFreeOfDuplicates = takeDuplicates(left).urls.isEmpty() && random.bounded(4) != 0;
        state.items = ItemList(SlideItems(all));
        state.cursor = random.bounded(4) == 0 ? nowhere : random.bounded(names * 2);
        state.newItemsNext = random.bounded(2) == 0;
        compareWithNaiveTwin(state, listed);
        if (QTest::currentTestFailed()) {
            return;
        }
    }
}

void RescanPlanTest::compareWithNaiveTwin(const ListState& state, const SlideItems& listed)
{
    QSet<FileUrl> here;
    QSet<FileUrl> there;
    QSet<FileUrl> barred;
    state.items.forEach([&](const SlideItemPtr& one, size_t) { here.insert(one->mURL()); });
    state.removed.forEach([&](const FileUrl& url, size_t) { barred.insert(url); });
    TreeChanges changes;
    for (const auto& one : listed) {
        there.insert(one->mURL());
        if (!here.contains(one->mURL())) {
            changes.fresh.push_back(one);
        }
    }
    state.items.forEach([&](const SlideItemPtr& one, size_t) {
        if (!there.contains(one->mURL()) || barred.contains(one->mURL())) {
            changes.vanished.push_back(one);
        }
    });

    Naive naive{state.items.copy(), state.cursor, {}};
    naive.rescan(listed, state.removed, state.order, state.newItemsNext);
    ItemList items = state.items;
    quint64 cursor = state.cursor;
    if (!changes.isEmpty()) {
        RescanPlan plan(state, changes);
        if (!plan.changesNothing()) {
            plan.apply(items, cursor);
        }
        QByteArray removed;
        plan.takeDuplicateURLs().forEach(
            [&](const FileUrl& url, size_t) { removed += url.fileName().toByteArray() + ' '; });
        QCOMPARE(removed, naive.removed);
        if (plan.foundNew()) {
            SlideItems left = naive.items;
            QCOMPARE(plan.leavesDuplicates(), !takeDuplicates(left).urls.isEmpty());
        }
    }
    QCOMPARE(namesOf(items.copy()), namesOf(naive.items));
    QCOMPARE(cursor, naive.cursor);
}

// A plan for one new file and one that has gone, in a list of 100,000, copies the two pieces that they are in.
void RescanPlanTest::littleChangesShareTheListsMemory()
{
    SlideItems all;
    for (int i = 0; i < 100000; ++i) {
        all.push_back(item(QByteArray::number(100000 + i) + ".jpg"));
    }
    for (const bool newItemsNext : {true, false}) {
        ListState state;
        state.items = ItemList(SlideItems(all));
        state.cursor = 50000;
        state.newItemsNext = newItemsNext;
        state.isInOrder = true;
        state.isFreeOfDuplicates = true;
        TreeChanges changes;
        changes.vanished = {all[70000]};
        changes.fresh = itemsOf("100007b.png");
        ItemList items = state.items;
        quint64 cursor = state.cursor;
        RescanPlan plan(state, changes);
        plan.apply(items, cursor);
        QCOMPARE(items.size(), all.size());
        size_t copied = 0;
        items.forEachPiece([&](const SlideItems& piece, size_t) {
            bool isShared = false;
            state.items.forEachPiece([&](const SlideItems& other, size_t) { isShared = isShared || &piece == &other; });
            copied += isShared ? 0 : piece.size();
        });
        QVERIFY2(copied <= 2000, QByteArray::number(qulonglong(copied)).constData());
    }
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::RescanPlanTest)
#include "RescanPlanTest.moc"
