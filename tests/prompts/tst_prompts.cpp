#include "ChildRun.h"
#include "LogCapture.h"
#include "prompts/Gathered.h"
#include "prompts/IncomingPrompt.h"
#include "prompts/MarkedSeqs.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptSearch.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptTitle.h"
#include "prompts/SeqList.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <map>
#include <memory>
#include <set>

using namespace zor;
using namespace zor::testing;

namespace {

FileDenial file(const QString& path, const QString& operation = QStringLiteral("write")) {
    return FileDenial{path, operation, std::nullopt};
}

QUuid uuid(int n) {
    return QUuid(uint(n), 0, 0, 0, 0, 0, 0, 0, 0, 0, 1);
}

// Everything a prompt holds, where PromptItem's own comparison takes only its
// identity: a replacement must leave the newer request, not the older text.
QStringList held(const QList<PromptItem>& prompts) {
    QStringList out;
    for (const PromptItem& p : prompts)
        out.append(QStringList{p.id.toString(), p.sessionId, p.policyPath, promptTitle(p.denial),
                               p.denial.target(), p.sessionEnded ? "ended" : "live"}
                       .join(u' '));
    return out;
}

// The store's rules over a plain list, scanned every time: slow and obviously right.
struct ReferenceStore {
    QList<PromptItem> prompts;
    PromptFilter filter;

    void add(const PromptItem& item) {
        prompts.removeIf([&](const PromptItem& p) { return p.dedupeKey() == item.dedupeKey(); });
        prompts.prepend(item);
    }
    void remove(const QUuid& id) {
        const auto it = std::find_if(prompts.begin(), prompts.end(),
                                     [&](const PromptItem& p) { return p.id == id; });
        if (it == prompts.end())
            return;
        prompts.erase(it);
        if (filtered().isEmpty())
            filter = PromptFilter::all();
    }
    qsizetype count(QString PromptItem::*field, const QString& value) const {
        return std::count_if(prompts.cbegin(), prompts.cend(),
                             [&](const PromptItem& p) { return p.*field == value; });
    }
    QStringList unique(QString PromptItem::*field) const {
        QStringList out;
        for (const PromptItem& p : prompts)
            out.append(p.*field);
        out.removeDuplicates();
        return out;
    }
    std::optional<QString> policyPathForSession(const QString& session) const {
        for (const PromptItem& p : prompts)
            if (p.sessionId == session)
                return p.policyPath;
        return std::nullopt;
    }
    QList<PromptItem> filtered() const {
        QList<PromptItem> out;
        for (const PromptItem& p : prompts)
            if (filter.policyPath().value_or(p.policyPath) == p.policyPath &&
                filter.sessionId().value_or(p.sessionId) == p.sessionId)
                out.append(p);
        return out;
    }
};

} // namespace

class PromptsTest : public QObject {
    Q_OBJECT

private slots:
    // Nothing is escaped; neither the session nor its end takes part.
    void dedupeKeysJoinWithoutEscaping() {
        QCOMPARE((PromptItem{uuid(1), "s", "a:b", file("c"), {}, false}.dedupeKey()), "a:b:file:c");
        QCOMPARE((PromptItem{uuid(2), "t", "a:b", file("c"), {}, true}.dedupeKey()), "a:b:file:c");
    }

    void policyDisplayNames_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("name");

        const std::pair<const char*, const char*> cases[] = {
            {"/Users/x/proj/.zor/policy.yml", "proj"},
            {"/etc/a.tar.gz", "a.tar"},
            {"/etc/.rules", ".rules"},
            {"/u/proj/.Zor/policy.yml", ".Zor"},
            {"/u//proj//.zor//policy.yml/", "proj"},
            {"/.zor/policy.yml", "/"},
            {"policy.yml", ""},
        };
        for (const auto& [path, name] : cases)
            QTest::addRow("%s", path) << QString(path) << QString(name);
    }

    void policyDisplayNames() {
        QFETCH(QString, path);
        QFETCH(QString, name);
        QCOMPARE(policyDisplayName(path), name);
    }

    // A row's heading, by kind, and the same put together in a reused buffer.
    void titlesByKind_data() {
        QTest::addColumn<Denial>("denial");
        QTest::addColumn<QString>("title");
        QTest::newRow("file") << Denial(FileDenial{"/x", "write", {}}) << "Write File";
        QTest::newRow("file, words")
            << Denial(FileDenial{"/x", "read  xattr\tlist", {}}) << "Read  Xattr\tList File";
        QTest::newRow("file, not ASCII")
            << Denial(FileDenial{"/x", QString::fromUtf16(u"\u00E9crire"), {}})
            << QString::fromUtf16(u"\u00C9crire File");
        QTest::newRow("network") << Denial(NetworkDenial{"h", 1, {}}) << "Network Request";
        QTest::newRow("exec") << Denial(ExecDenial{"/bin/sh", {}, {}}) << "Execute Process";
        QTest::newRow("signal") << Denial(SignalDenial{9, 1, {}, {}}) << "Signal";
        QTest::newRow("device") << Denial(IoDeviceDenial{"IOHIDDevice", {}}) << "IOKit Device";
    }

    void titlesByKind() {
        QFETCH(Denial, denial);
        QFETCH(QString, title);
        QCOMPARE(promptTitle(denial), title);
        QString scratch = QStringLiteral("a longer title left from before");
        QCOMPARE(promptTitle(denial, scratch), title);
    }

    // What a search finds, in any case: the fields it looks in, texts beyond
    // ASCII, and characters that fold to ASCII.
    void searchesFindTextInAnyCase_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("isFound");
        QTest::newRow("empty") << ""
                               << "/x" << true;
        QTest::newRow("spaces around") << "  make "
                                       << "/x" << true;
        QTest::newRow("session") << "S-4"
                                 << "/x" << true;
        QTest::newRow("policy") << "POLICY.yml"
                                << "/x" << true;
        QTest::newRow("process") << "Mak"
                                 << "/x" << true;
        QTest::newRow("title") << "write f"
                               << "/x" << true;
        QTest::newRow("target, at its end") << "TOOL"
                                            << "/bin/tool" << true;
        QTest::newRow("a start that fails first") << "ttoo"
                                                  << "/tttool" << true;
        QTest::newRow("nowhere") << "module"
                                 << "/bin/tool" << false;
        QTest::newRow("longer than any text") << QString(300, u'a') << "/x" << false;
        QTest::newRow("accented") << QString::fromUtf16(u"CAFÉ") << QString::fromUtf16(u"/café")
                                  << true;
        QTest::newRow("after an accent") << "tool" << QString::fromUtf16(u"/é/TOOL") << true;
        QTest::newRow("kelvin sign") << "5k" << QString::fromUtf16(u"/5\u212A") << true;
        QTest::newRow("long s") << "ses" << QString::fromUtf16(u"/\u017Fes") << true;
        QTest::newRow("accent, nothing like it") << "tool" << QString::fromUtf16(u"/é/to") << false;
    }

    void searchesFindTextInAnyCase() {
        QFETCH(QString, text);
        QFETCH(QString, target);
        const PromptItem item{QUuid::createUuid(),
                              "s-42",
                              "/p/policy.yml",
                              FileDenial{target, "write", "make"},
                              {},
                              false};
        QTEST(PromptSearch(text).matches(item), "isFound");
    }

    // Random texts of few letters, in both cases and with characters that
    // fold to them, found exactly where Qt's own comparison finds them.
    void searchesAgreeWithQtsComparison() {
        const std::u16string letters = u"abkKsS/\u212A\u017F\u00E9";
        QRandomGenerator random(42);
        const auto text = [&](int most) {
            QString made;
            for (int length = random.bounded(most + 1); length > 0; --length)
                made += QChar(letters[random.bounded(int(letters.size()))]);
            return made;
        };
        for (int round = 0; round < 4000; ++round) {
            const QString needle = text(5);
            const PromptItem item{QUuid::createUuid(),
                                  text(8),
                                  text(8),
                                  FileDenial{text(12), text(4), text(4)},
                                  {},
                                  false};
            const QStringList fields{item.sessionId, item.policyPath, *item.denial.processName(),
                                     item.denial.target(), promptTitle(item.denial)};
            const bool isFound =
                std::any_of(fields.cbegin(), fields.cend(), [&](const QString& field) {
                    return field.contains(needle, Qt::CaseInsensitive);
                });
            QCOMPARE(PromptSearch(needle).matches(item), isFound);
        }
    }

    // A look through many prompts that share their sessions' and policy
    // files' texts finds what a look at each prompt alone finds, with more
    // shared texts than the finds keep, so that texts meet in one place.
    void sharedTextsAreLookedInForEachPrompt() {
        QRandomGenerator random(7);
        QStringList sessions;
        for (int n = 0; n < 5000; ++n)
            sessions.append(QStringLiteral("s-%1").arg(random.bounded(100000)));
        QStringList policies;
        for (int n = 0; n < 300; ++n)
            policies.append(QStringLiteral("/p-%1/policy.yml").arg(n));
        std::vector<PromptItem> items;
        for (int n = 0; n < 20000; ++n)
            items.push_back({QUuid::createUuid(),
                             sessions[random.bounded(int(sessions.size()))],
                             policies[random.bounded(int(policies.size()))],
                             FileDenial{QStringLiteral("/x"), "write", "make"},
                             {},
                             false});
        for (const char* needle : {"-12", "P-2", "s-9", "/P-29/"}) {
            const PromptSearch search(needle);
            SharedTextFinds shared;
            qsizetype found = 0;
            for (const PromptItem& item : items) {
                const bool isFound = search.matches(item);
                QCOMPARE(search.matches(item, shared), isFound);
                found += isFound ? 1 : 0;
            }
            QVERIFY2(found > 0 && found < qsizetype(items.size()), needle);
        }
    }

    void promptIdsParseOnlyTheStandardForm_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("braces") << "{6F9619FF-8B86-D011-B42D-00C04FC964FF}";
        QTest::newRow("dash moved") << "6F9619F-F8B86-D011-B42D-00C04FC964FF";
        QTest::newRow("not hex") << "6F9619FF-8B86-D011-B42D-00C04FC964FG";
        QTest::newRow("not hex, first") << "XF9619FF-8B86-D011-B42D-00C04FC964FF";
        QTest::newRow("a dash for a digit") << "6F9619FF-8B86-D011-B42D-00C04FC964-F";
        QTest::newRow("too long") << "6F9619FF-8B86-D011-B42D-00C04FC964FF0";
        QTest::newRow("wide digit")
            << QString::fromUtf16(u"6F9619FF-8B86-D011-B42D-00C04FC964F\uFF16");
    }

    void promptIdsParseOnlyTheStandardForm() {
        const QUuid standard = QUuid::fromString(u"6f9619ff-8b86-d011-b42d-00c04fc964ff");
        QCOMPARE(promptIdFromText(u"6F9619FF-8B86-D011-B42D-00C04FC964FF"), standard);
        QCOMPARE(promptIdFromText(u"6f9619ff-8b86-d011-b42d-00C04fc964Ff"), standard);
        // Any other text gets a fresh random id each time: such a prompt cannot be
        // removed by its text.
        QFETCH(QString, text);
        const QUuid id = promptIdFromText(text);
        QCOMPARE(id.version(), QUuid::Random);
        QVERIFY(promptIdFromText(text) != id);
    }

    // The short form: a fresh id, for a live session.
    void addsAreStampedAndLogged() {
        LogCapture capture;
        PromptStore store;
        const QDateTime before = QDateTime::currentDateTimeUtc();
        store.addPrompt("s1", "/p/policy.yml", NetworkDenial{"h", 22, "ssh"});
        const PromptItem added = store.prompts().first();
        QVERIFY(added.timestamp >= before && added.timestamp <= QDateTime::currentDateTimeUtc());
        QCOMPARE(added.id.version(), QUuid::Random);
        QVERIFY(!added.sessionEnded);
        QCOMPARE(capture.messages(), QStringList{"Added prompt: network h:22 session=s1"});
        const LogRecord record = capture.records().first();
        QCOMPARE(record.level, LogLevel::info);
        QCOMPARE(record.redactedMessage(), record.message());
    }

    // Views update row by row from these signals, so each comes after the change;
    // the list's own signal follows every change.
    void changeSignalsComeAfterTheChange() {
        PromptStore store;
        QStringList seen;
        const auto sees = [&](const char* signal, const PromptItem& item) {
            const std::optional<PromptItem> held = store.prompt(item.id);
            seen.append(
                QStringLiteral("%1 %2 held=%3 ended=%4 first=%5 count=%6")
                    .arg(signal, item.sessionId)
                    .arg(held.has_value())
                    .arg(held && held->sessionEnded)
                    .arg(!store.prompts().isEmpty() && store.prompts().first().id == item.id)
                    .arg(store.promptCountForSession(item.sessionId)));
        };
        connect(&store, &PromptStore::promptAdded, this,
                [&](const PromptItem& item) { sees("added", item); });
        connect(&store, &PromptStore::promptRemoved, this,
                [&](const PromptItem& item) { sees("removed", item); });
        connect(&store, &PromptStore::promptsEnded, this, [&](const QList<quint64>& seqs) {
            for (const quint64 seq : seqs)
                sees("changed", *store.promptWithSeq(seq));
        });
        connect(&store, &PromptStore::promptsChanged, this, [&] { seen.append("list"); });

        store.addPrompt(uuid(1), "s1", "/p", file("/a"), false);
        // Replaces the first, from arguments that refer into it.
        const PromptItem& first = store.prompts().first();
        store.addPrompt(uuid(2), "s2", first.policyPath, first.denial, false);
        QCOMPARE(store.prompts().first().dedupeKey(), "/p:file:/a");
        store.addPrompt(uuid(3), "s2", "/q", file("/b"), true);
        LogCapture capture;
        // Prompts already ended count again but do not change.
        store.markSessionEnded("s2");
        store.markSessionEnded("s2");
        store.markSessionEnded("unknown");
        QCOMPARE(capture.messages(), QStringList(2, "Marked 2 prompts as ended for session s2"));
        QCOMPARE(capture.records().first().redactedMessage(), capture.messages().first());
        store.removePrompt(uuid(2));
        QCOMPARE(seen, (QStringList{"added s1 held=1 ended=0 first=1 count=1", "list",
                                    "removed s1 held=0 ended=0 first=0 count=0",
                                    "added s2 held=1 ended=0 first=1 count=1", "list",
                                    "added s2 held=1 ended=1 first=1 count=2", "list",
                                    "changed s2 held=1 ended=1 first=0 count=2", "list",
                                    "removed s2 held=0 ended=0 first=0 count=1", "list"}));
    }

    // A session's end reports its prompts at once, newest first, once all are
    // marked; a receiver may change the store then, and the list copes.
    void sessionEndReportsItsPromptsAtOnce() {
        PromptStore store;
        PromptListModel list(store);
        QAbstractItemModelTester tester(&list,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        for (int n = 10; n <= 12; ++n)
            store.addPrompt(uuid(n), "s", "/p", file(QStringLiteral("/f%1").arg(n)), false);
        QList<QUuid> ended;
        connect(&store, &PromptStore::promptsEnded, this, [&](const QList<quint64>& seqs) {
            for (const quint64 seq : seqs) {
                ended.append(store.promptWithSeq(seq)->id);
                QVERIFY(store.promptWithSeq(seq)->sessionEnded);
            }
            store.removePrompt(uuid(11));
        });
        QSignalSpy rowsChanged(&list, &QAbstractItemModel::dataChanged);
        store.markSessionEnded("s");
        QCOMPARE(ended, (QList<QUuid>{uuid(12), uuid(11), uuid(10)}));
        QCOMPARE(list.count(), 2);
        QCOMPARE(rowsChanged.count(), 1);
        for (int row = 0; row < list.count(); ++row)
            QVERIFY(list.index(row).data(PromptListModel::sessionEndedRole).toBool());
    }

    // Any use off the main thread stops the process; checked in a child process.
    void offMainThreadUseStopsTheProcess() {
        if (isChildRun()) {
            PromptStore store;
            QThread* worker = QThread::create([&] { store.addPrompt("s", "/p", file("/a")); });
            worker->start();
            worker->wait();
            delete worker;
            return;
        }
        const ChildRun child = runInChild();
        QVERIFY2(child.hasCrashed, child.output.constData());
        QVERIFY2(child.output.contains("PromptStore::addPrompt must be called on the main thread"),
                 child.output.constData());
    }

    // A request is the same when its key reads the same, though colons in
    // the policy path and the target split it differently, and whichever
    // thread made the prompt ready to add: a sync makes its prompts where it
    // reads them.
    void keysThatReadTheSameAreOneRequest() {
        PromptStore store;
        store.addPrompt(uuid(1), "s", "/p:file:/a", file("/b"), false);
        store.addPrompt(uuid(2), "s", "/p", file("/a:file:/b", "read"), false);
        QCOMPARE(store.prompts().size(), 1);
        QCOMPARE(store.prompts().first().id, uuid(2));
        IncomingPrompt madeElsewhere;
        std::unique_ptr<QThread> thread(QThread::create([&madeElsewhere] {
            madeElsewhere = IncomingPrompt(uuid(3), "t", "/p", file("/a:file:/b"), false);
        }));
        thread->start();
        QVERIFY(thread->wait());
        store.addPrompt(std::move(madeElsewhere));
        QCOMPARE(store.prompts().size(), 1);
        QCOMPARE(store.prompts().first().id, uuid(3));
        QCOMPARE(store.prompts().first().sessionId, QStringLiteral("t"));

        // An empty one, as a list's room holds, keys as it reads too: once
        // removed, nothing of it is left to meet the next.
        store.addPrompt(IncomingPrompt());
        store.removePrompt(QUuid());
        store.addPrompt(IncomingPrompt());
        QCOMPARE(store.prompts().size(), 2);
        QCOMPARE(store.dedupeKeys(), (QSet<QString>{"/p:file:/a:file:/b", ":file:"}));
    }

    // A group's numbers under random appends and removals, the newest and
    // absent ones included: both ways through, its size and its newest agree
    // with a plain set after every step.
    void seqListAgreesWithASet() {
        QRandomGenerator random(7);
        SeqList seqs;
        std::set<quint64> reference;
        quint64 next = 1;
        for (int step = 0; step < 4000; ++step) {
            const int choice = random.bounded(10);
            if (choice < 4 || reference.empty()) {
                seqs.append(next);
                reference.insert(next++);
            } else if (choice < 5) {
                const quint64 newest = *reference.rbegin();
                QVERIFY(seqs.remove(newest));
                reference.erase(newest);
            } else {
                const quint64 seq = 1 + random.bounded(quint32(next));
                QCOMPARE(seqs.remove(seq), reference.erase(seq) == 1);
            }
            QCOMPARE(seqs.size(), qsizetype(reference.size()));
            QCOMPARE(seqs.isEmpty(), reference.empty());
            if (!reference.empty())
                QCOMPARE(seqs.last(), *reference.rbegin());
            QVERIFY(std::equal(seqs.cbegin(), seqs.cend(), reference.cbegin(), reference.cend()));
            QVERIFY(
                std::equal(seqs.crbegin(), seqs.crend(), reference.crbegin(), reference.crend()));
        }
    }

    // A view's rows under random appends with gaps in the numbering, removals
    // and marks, and now and then a fresh start: every question about held,
    // absent and out-of-range numbers agrees with a plain map. The rows grow
    // over some blocks first; then most go, with no fresh start, so that
    // blocks get small and join.
    void markedSeqsAgreeWithAMap() {
        QRandomGenerator random(11);
        MarkedSeqs seqs;
        std::map<quint64, bool> reference;
        quint64 next = 1;
        const auto anyNumber = [&] { return quint64(random.bounded(quint32(next + 2))); };
        const auto anyHeld = [&] {
            return std::next(reference.cbegin(), random.bounded(int(reference.size())))->first;
        };
        for (int step = 0; step < 8000; ++step) {
            const bool isGrowing = step < 4000;
            const int choice = random.bounded(100);
            if (choice < (isGrowing ? 45 : 10) || reference.empty()) {
                // Mostly dense, as a sync adds, with a run of gaps now and then.
                next += choice % 7 == 0 ? random.bounded(2000) : random.bounded(3);
                const bool isMarked = random.bounded(3) != 0;
                seqs.append(next, isMarked);
                reference[next++] = isMarked;
            } else if (choice < 75) {
                const quint64 seq = isGrowing ? anyNumber() : anyHeld();
                seqs.remove(seq);
                reference.erase(seq);
            } else if (choice < 99 || !isGrowing) {
                const quint64 seq = anyNumber();
                const bool isMarked = random.bounded(2) == 1;
                const auto held = reference.find(seq);
                const bool isChange = held != reference.end() && held->second != isMarked;
                QCOMPARE(seqs.setMarked(seq, isMarked), isChange);
                if (isChange)
                    held->second = isMarked;
            } else {
                std::vector<std::pair<quint64, bool>> ascending(reference.cbegin(),
                                                                reference.cend());
                seqs.assign(ascending);
            }
            std::vector<quint64> marked;
            for (const auto& [seq, isMarked] : reference)
                if (isMarked)
                    marked.push_back(seq);
            QCOMPARE(seqs.markedCount(), qsizetype(marked.size()));
            for (int question = 0; question < 4; ++question) {
                const quint64 seq = anyNumber();
                const auto held = reference.find(seq);
                QCOMPARE(seqs.contains(seq), held != reference.end());
                QCOMPARE(seqs.isMarked(seq), held != reference.end() && held->second);
                const auto below = std::lower_bound(marked.cbegin(), marked.cend(), seq);
                QCOMPARE(seqs.markedBelow(seq), qsizetype(below - marked.cbegin()));
                const bool isMarked = below != marked.cend() && *below == seq;
                QCOMPARE(seqs.rankOf(seq), isMarked ? qsizetype(below - marked.cbegin()) : -1);
            }
            if (!marked.empty()) {
                const qsizetype rank = random.bounded(int(marked.size()));
                QCOMPARE(seqs.markedAt(rank), marked[std::size_t(rank)]);
            }
            if (step % 50 == 0) {
                std::vector<std::pair<quint64, bool>> held;
                seqs.forEach([&](quint64 seq, bool isMarked) { held.emplace_back(seq, isMarked); });
                const std::vector<std::pair<quint64, bool>> expected(reference.cbegin(),
                                                                     reference.cend());
                QCOMPARE(held, expected);
            }
        }
    }

    // A taken batch holds what was gathered; what comes while it is handled
    // waits for the next. Once handled, its room serves the next batches.
    void gatheredBatchesComeWhole() {
        Gathered<int> gathered;
        for (int n = 1; n <= 100; ++n)
            gathered.push_back(n);
        const int* room = nullptr;
        {
            Gathered<int>::Taken first = gathered.take();
            QCOMPARE((*first).size(), std::size_t(100));
            QVERIFY(gathered.empty());
            gathered.push_back(101);
            room = (*first).data();
        }
        {
            Gathered<int>::Taken second = gathered.take();
            QCOMPARE(*second, std::vector<int>{101});
        }
        gathered.push_back(102);
        QCOMPARE(gathered.size(), std::size_t(1));
        Gathered<int>::Taken third = gathered.take();
        QCOMPARE(*third, std::vector<int>{102});
        QCOMPARE((*third).data(), room);
    }

    // Random operations against the plain reference, which must agree after
    // every step; snapshots taken along the way, some grown on their own, must
    // keep what they held.
    void storeAgreesWithTheReferenceUnderRandomOperations() {
        QRandomGenerator random(20240501);
        PromptStore store;
        ReferenceStore reference;
        QList<QUuid> knownIds;
        QList<std::pair<PromptList, QList<PromptItem>>> snapshots;
        for (int step = 0; step < 2000; ++step) {
            if (step % 40 == 0)
                snapshots.append({store.prompts(), store.prompts().toList()});
            if (step % 120 == 0) {
                const PromptItem extra{uuid(100000 + step), "own", "/own", file("/own"), {}, false};
                snapshots.last().first.prepend(quint64(1) << 40 | quint64(step), extra);
                snapshots.last().second.prepend(extra);
            }
            const int choice = random.bounded(10);
            const QString session = QStringLiteral("s%1").arg(random.bounded(12));
            const QString policy = QStringLiteral("/p%1/policy.yml").arg(random.bounded(6));
            if (choice < 5) {
                const QUuid id = random.bounded(8) == 0 && !knownIds.isEmpty()
                                     ? knownIds[random.bounded(knownIds.size())]
                                     : uuid(step);
                // Another operation on the same file is the same request.
                // Drawn in turn, as a call's arguments go in any order.
                const QString path = QStringLiteral("/f%1").arg(random.bounded(150));
                const Denial denial = file(path, random.bounded(2) == 0 ? QStringLiteral("write")
                                                                        : QStringLiteral("read"));
                const bool ended = random.bounded(4) == 0;
                store.addPrompt(id, session, policy, denial, ended);
                reference.add(PromptItem{id, session, policy, denial, {}, ended});
                knownIds.append(id);
            } else if (choice < 8) {
                const QUuid id =
                    knownIds.isEmpty() ? uuid(-1) : knownIds[random.bounded(knownIds.size())];
                store.removePrompt(id);
                reference.remove(id);
            } else if (choice < 9) {
                store.markSessionEnded(session);
                for (PromptItem& p : reference.prompts)
                    p.sessionEnded = p.sessionEnded || p.sessionId == session;
            } else {
                reference.filter = random.bounded(2) == 0 ? PromptFilter::policy(policy)
                                                          : PromptFilter::session(session);
                store.setFilter(reference.filter);
            }

            QCOMPARE(held(store.prompts().toList()), held(reference.prompts));
            QCOMPARE(store.filter(), reference.filter);
            QCOMPARE(held(store.filteredPrompts().toList()), held(reference.filtered()));
            QCOMPARE(store.uniquePolicyPaths(), reference.unique(&PromptItem::policyPath));
            QCOMPARE(store.uniqueSessionIds(), reference.unique(&PromptItem::sessionId));
            QCOMPARE(store.promptCountForSession(session),
                     reference.count(&PromptItem::sessionId, session));
            QCOMPARE(store.promptCountForPolicy(policy),
                     reference.count(&PromptItem::policyPath, policy));
            QCOMPARE(store.policyPathForSession(session), reference.policyPathForSession(session));
        }
        for (const auto& [snapshot, expected] : snapshots) {
            QCOMPARE(held(snapshot.toList()), held(expected));
        }
    }
};

QTEST_GUILESS_MAIN(PromptsTest)
#include "tst_prompts.moc"
