#include "shared/Denial.h"
#include "shared/FileOperation.h"
#include "shared/JsonWriter.h"
#include "shared/ParserRoom.h"
#include "shared/SerializablePromptItem.h"
#include "shared/TextHash.h"
#include "shared/VisibleText.h"

#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTest>
#include <cstring>

Q_DECLARE_METATYPE(std::optional<zor::FileOperation>)

using namespace zor;
using namespace std::chrono_literals;

namespace {

QByteArray record(const QByteArray& denial, const QByteArray& extra = {}) {
    return R"({"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","sessionId":"s1",)"
           R"("policyPath":"/p/.zor/policy.yml","denial":)" +
           denial + R"(,"sessionEnded":true,"createdAt":1714567890.25)" + extra + "}";
}

SerializablePromptItem sampleItem(Denial denial, const QString& id) {
    SerializablePromptItem item;
    item.id = id;
    // Quotes, a NUL and a character beyond the BMP must come back as they were.
    item.sessionId = QStringLiteral("session \"7\"\0😀");
    item.policyPath = QStringLiteral("/Users/zoë/proj/.zor/policy.yml");
    item.denial = std::move(denial);
    item.createdAt = SerializablePromptItem::Time(1714567890123ms);
    return item;
}

} // namespace

class SharedTest : public QObject {
    Q_OBJECT

private slots:
    // Field order, null and unknown members aside; and the target a row shows.
    void decodesEveryKind_data() {
        QTest::addColumn<QByteArray>("denialJson");
        QTest::addColumn<Denial>("expected");
        QTest::addColumn<QString>("target");

        QTest::newRow("network") << QByteArray(
                                        R"({"port":443,"host":"example.org","kind":"network"})")
                                 << Denial(NetworkDenial{"example.org", 443, std::nullopt})
                                 << "example.org:443";
        QTest::newRow("network ipv6") << QByteArray(R"({"kind":"network","host":"::1","port":0})")
                                      << Denial(NetworkDenial{"::1", 0, std::nullopt}) << "[::1]:0";
        QTest::newRow("exec")
            << QByteArray(
                   R"({"kind":"exec","path":"/usr/bin/git","args":["push","-f"],"processName":null})")
            << Denial(ExecDenial{"/usr/bin/git", {"push", "-f"}, std::nullopt})
            << "/usr/bin/git push -f";
        QTest::newRow("exec without args")
            << QByteArray(R"({"kind":"exec","path":"/bin/true","args":[]})")
            << Denial(ExecDenial{"/bin/true", {}, std::nullopt}) << "/bin/true";
        QTest::newRow("signal")
            << QByteArray(
                   R"({"kind":"signal","signalNumber":15,"targetPid":501,"targetProcessName":"Dock"})")
            << Denial(SignalDenial{15, 501, "Dock", std::nullopt}) << "signal 15 to pid 501 (Dock)";
        QTest::newRow("signal to unnamed group")
            << QByteArray(R"({"kind":"signal","signalNumber":9,"targetPid":-1,"processName":"sh"})")
            << Denial(SignalDenial{9, -1, std::nullopt, "sh"}) << "signal 9 to pid -1";
        QTest::newRow("device, unknown member")
            << QByteArray(R"({"kind":"device","deviceClass":"IOHIDDevice","futureField":[1,{}]})")
            << Denial(IoDeviceDenial{"IOHIDDevice", std::nullopt}) << "IOHIDDevice";
        QTest::newRow("device, members given twice count with their last value")
            << QByteArray(R"({"kind":"file","deviceClass":"IOUSBHostDevice","processName":"p",)"
                          R"("kind":"device","deviceClass":"IOHIDDevice","processName":null})")
            << Denial(IoDeviceDenial{"IOHIDDevice", std::nullopt}) << "IOHIDDevice";
        QTest::newRow("network, given twice, wrong the first time")
            << QByteArray(R"({"kind":"network","port":"x","host":"example.org","port":443})")
            << Denial(NetworkDenial{"example.org", 443, std::nullopt}) << "example.org:443";
        QTest::newRow("exec, given twice, wrong the first time")
            << QByteArray(R"({"kind":"exec","args":[1],"path":"/bin/ls","args":["-l"]})")
            << Denial(ExecDenial{"/bin/ls", {"-l"}, std::nullopt}) << "/bin/ls -l";
        QTest::newRow("signal, given three times, right the last time")
            << QByteArray(R"({"kind":"signal","signalNumber":9,"targetPid":1,)"
                          R"("targetProcessName":7,"targetProcessName":"Dock",)"
                          R"("targetProcessName":null,"targetProcessName":"init"})")
            << Denial(SignalDenial{9, 1, "init", std::nullopt}) << "signal 9 to pid 1 (init)";
    }

    // A member of the record given twice counts with its last value, whatever
    // the first was: the record reads as it does without the first.
    void recordMembersCountWithTheirLastValue_data() {
        QTest::addColumn<QByteArray>("firstTime");
        const QByteArray file = R"({"kind":"file","path":"/a","operation":"read"})";
        QTest::newRow("sessionEnded, wrong the first time")
            << QByteArray(R"("sessionEnded":"yes")");
        QTest::newRow("createdAt, wrong the first time") << QByteArray(R"("createdAt":"soon")");
        QTest::newRow("createdAt, out of range the first time")
            << QByteArray(R"("createdAt":1e300)");
        QTest::newRow("id, wrong the first time") << QByteArray(R"("id":7)");
        QTest::newRow("sessionId, wrong the first time") << QByteArray(R"("sessionId":null)");
        QTest::newRow("denial, wrong the first time")
            << QByteArray(R"("denial":{"kind":"network","host":"h","port":-1})");
        QTest::newRow("denial, right the first time") << QByteArray(R"("denial":)" + file);
    }

    void recordMembersCountWithTheirLastValue() {
        QFETCH(QByteArray, firstTime);
        const QByteArray single = record(R"({"kind":"device","deviceClass":"IOHIDDevice"})");
        const auto expected = SerializablePromptItem::fromJson(single);
        QVERIFY2(expected.hasValue(), qPrintable(expected.error()));
        const auto decoded =
            SerializablePromptItem::fromJson("{" + firstTime + "," + single.mid(1));
        QVERIFY2(decoded.hasValue(), qPrintable(decoded.error()));
        QVERIFY(decoded.value() == expected.value());
    }

    void decodesEveryKind() {
        QFETCH(QByteArray, denialJson);
        QFETCH(Denial, expected);
        QFETCH(QString, target);
        const auto decoded = SerializablePromptItem::fromJson(record(denialJson));
        QVERIFY2(decoded.hasValue(), qPrintable(decoded.error()));
        QVERIFY(decoded.value().denial == expected);
        QCOMPARE(decoded.value().denial.target(), target);
        QString scratch = QStringLiteral("left from an earlier target");
        QCOMPARE(decoded.value().denial.target(scratch), target);
    }

    void recordsSurviveEncodingAndDecoding() {
        QList<SerializablePromptItem> items;
        for (const Denial& denial : QList<Denial>{
                 FileDenial{"/tmp/a b/\"q\".txt", "write", "cat"},
                 NetworkDenial{"example.org", 65535, std::nullopt},
                 ExecDenial{"/bin/ls", {"-la", "dir with space", "\\x", "\n\t\b\f\r/"}, "zsh"},
                 SignalDenial{9, 4242, "Finder", "kill"},
                 IoDeviceDenial{"IOUSBHostDevice", std::nullopt},
             }) {
            items.append(sampleItem(denial, QString::number(items.size())));
            const QByteArray json = items.last().toJson();
            const auto decoded = SerializablePromptItem::fromJson(json);
            QVERIFY2(decoded.hasValue(), qPrintable(decoded.error() + " in " + json));
            QVERIFY(decoded.value() == items.last());
        }
        items.last().isSessionEnded = true;
        items.last().createdAt = SerializablePromptItem::Time(-1500ms);

        const auto list =
            SerializablePromptItem::listFromJson(SerializablePromptItem::listToJson(items));
        QVERIFY2(list.hasValue(), qPrintable(list.error()));
        QCOMPARE(list.value().size(), items.size());
        for (qsizetype i = 0; i < items.size(); ++i)
            QVERIFY2(list.value()[i] == items[i], qPrintable(QString::number(i)));
    }

    void malformedInputIsAnError_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("errorPart");

        const QByteArray file = R"({"kind":"file","path":"/a","operation":"read"})";
        QTest::newRow("not json") << QByteArray("hello") << "improper structure";
        QTest::newRow("a number") << QByteArray("42") << "expected an object";
        QTest::newRow("truncated") << record(file).chopped(5) << "";
        QTest::newRow("text after the value") << record(file) + " x"
                                              << "after the value";
        QTest::newRow("missing createdAt")
            << QByteArray(R"({"id":"x","sessionId":"s","policyPath":"p","denial":)" + file +
                          R"(,"sessionEnded":false})")
            << "missing field \"createdAt\"";
        QTest::newRow("unknown kind")
            << record(R"({"kind":"File","path":"/a","operation":"read"})") << "unknown denial kind";
        QTest::newRow("unknown kind, long")
            << record(R"({"kind":")" + QByteArray(4000, 'K') + R"(","path":"/a"})")
            << "unknown denial kind";
        QTest::newRow("file without operation")
            << record(R"({"kind":"file","path":"/a"})") << "missing field \"operation\"";
        QTest::newRow("port too large")
            << record(R"({"kind":"network","host":"h","port":65536})") << "out of range";
        QTest::newRow("port with a fraction")
            << record(R"({"kind":"network","host":"h","port":443.0})") << "requested type";
        QTest::newRow("port with an exponent")
            << record(R"({"kind":"network","host":"h","port":4.43e2})") << "requested type";
        QTest::newRow("signal number beyond 32 bits")
            << record(R"({"kind":"signal","signalNumber":2147483648,"targetPid":1})")
            << "out of range";
        QTest::newRow("a member given twice, wrong the second time")
            << record(file, R"(,"sessionEnded":"yes")") << "requested type";
        QTest::newRow("a denial member given twice, wrong the second time")
            << record(R"({"kind":"network","host":"h","port":443,"port":"x"})") << "requested type";
        QTest::newRow("a member given three times, wrong the last time")
            << record(R"({"kind":"network","host":"h","port":"x","port":443,"port":-1})")
            << "out of range";
        QTest::newRow("a member given twice, wrong both times")
            << record(file, R"(,"createdAt":"soon","createdAt":[])") << "requested type";
        QTest::newRow("negative port")
            << record(R"({"kind":"network","host":"h","port":-1})") << "out of range";
        QTest::newRow("missing sessionId")
            << QByteArray(R"({"id":"x","policyPath":"p","denial":)" + file +
                          R"(,"sessionEnded":false,"createdAt":1})")
            << "missing field \"sessionId\"";
        QTest::newRow("missing policyPath")
            << QByteArray(R"({"id":"x","sessionId":"s","denial":)" + file +
                          R"(,"sessionEnded":false,"createdAt":1})")
            << "missing field \"policyPath\"";
        QTest::newRow("raw control character")
            << record("{\"kind\":\"device\",\"deviceClass\":\"a\nb\"}") << "unescaped characters";
        QTest::newRow("lone surrogate")
            << record(R"({"kind":"device","deviceClass":"\ud83d"})") << "parsing a string";
        QTest::newRow("invalid utf-8")
            << record("{\"kind\":\"device\",\"deviceClass\":\"\xC3\x28\"}") << "not valid UTF-8";
        // What the decoder skips is read in full all the same.
        for (const char* unknown :
             {"tru", "[1,,2]", "01", R"({"a" 1})", R"("\x")", "18446744073709551616"})
            QTest::addRow("broken unknown field %s", unknown)
                << record(file, QByteArray(R"(,"x":)") + unknown) << "";
        QTest::newRow("deeply nested unknown field")
            << record(file, R"(,"x":)" + QByteArray(100, '[') + QByteArray(100, ']'))
            << "nested too deeply";
    }

    void malformedInputIsAnError() {
        QFETCH(QByteArray, json);
        QFETCH(QString, errorPart);
        const auto decoded = SerializablePromptItem::fromJson(json);
        QVERIFY(!decoded.hasValue());
        QVERIFY2(decoded.error().contains(errorPart), qPrintable(decoded.error()));
        // It says what is wrong, never what the sender wrote: the log shows it.
        QVERIFY2(decoded.error().size() <= 200, qPrintable(decoded.error()));
    }

    // What follows the text in memory takes no part in reading it, whether
    // the text is refused (the last byte of this one ends a literal) or not.
    void readsOnlyTheTextItIsGiven() {
        const QByteArray broken = R"({"id":"x"[,"sessionEnded":null)";
        const QByteArray memory = broken + "} {}";
        const auto decoded =
            SerializablePromptItem::fromJson(QByteArrayView(memory).first(broken.size()));
        QVERIFY(!decoded.hasValue());
        QCOMPARE(decoded.error(), SerializablePromptItem::fromJson(broken).error());

        const QByteArray good = record(R"({"kind":"device","deviceClass":"IOHIDDevice"})");
        const QByteArray more = good + R"(,"x":1})";
        QVERIFY(SerializablePromptItem::fromJson(QByteArrayView(more).first(good.size())));
    }

    // A reply with the reader's room after it is read where it is, and reads
    // as a copy of it does: what lies in the room takes no part, not even
    // bytes that would finish the text.
    void readsAReplyWhereItIs_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("inRoom");
        const QByteArray good = record(R"({"kind":"device","deviceClass":"IOHIDDevice"})");
        QTest::newRow("whole") << "[" + good + "]" << QByteArray("[1]");
        QTest::newRow("cut before its bracket") << "[" + good << QByteArray("]");
        QTest::newRow("cut in a literal")
            << "[" + good.chopped(1) + R"(,"x":tru)" << QByteArray("e}]");
        QTest::newRow("cut in a number") << QByteArray("[1") << QByteArray("2]");
        QTest::newRow("cut in a string") << "[" + good.left(12) << QByteArray("\"}]");
        QTest::newRow("a record gone bad") << "[" + good + R"(,{"id":1}])" << QByteArray(" ");
        QTest::newRow("nothing") << QByteArray() << QByteArray("[]");
        // Large enough that the parser's blocks are mapped apart, in large pages.
        QByteArray large = "[" + good;
        while (large.size() < (qsizetype(5) << 20))
            large += "," + good;
        large += "]";
        QTest::newRow("large") << large << QByteArray(" ");
        QTest::newRow("large, cut before its bracket") << large.chopped(1) << QByteArray("]");
    }

    void readsAReplyWhereItIs() {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, inRoom);
        QByteArray reply = text;
        makeParserRoom(reply);
        QCOMPARE(reply, text);
        QVERIFY(hasParserRoom(reply));
        const char* buffer = reply.constData();
        makeParserRoom(reply);
        QCOMPARE(reply.constData(), buffer);
        // Bytes the transport may have left there; not part of the text.
        std::memcpy(reply.data() + reply.size(), inRoom.constData(), size_t(inRoom.size()));

        const QByteArray copy(text.constData(), text.size());
        QVERIFY(!hasParserRoom(copy));
        const auto inPlace = SerializablePromptItem::partialListFromJson(reply);
        const auto copied = SerializablePromptItem::partialListFromJson(copy);
        QCOMPARE(inPlace.hasValue(), copied.hasValue());
        if (!copied) {
            QCOMPARE(inPlace.error(), copied.error());
            return;
        }
        QCOMPARE(inPlace.value().records, copied.value().records);
        QCOMPARE(inPlace.value().failures.size(), copied.value().failures.size());
    }

    // Bytes taken off the front of a text leave free space before it, which
    // its capacity counts; the reader's room is only what lies after it.
    void findsTheRoomAfterATextMovedUpItsBuffer() {
        const QByteArray text =
            "[" + record(R"({"kind":"device","deviceClass":"IOHIDDevice"})") + "]";
        QByteArray reply(2 * kParserRoom + text.size(), ' '); // no room after it
        std::memcpy(reply.data() + 2 * kParserRoom, text.constData(), size_t(text.size()));
        reply.remove(0, 2 * kParserRoom);
        QCOMPARE(reply, text);
        QVERIFY(!hasParserRoom(reply));
        makeParserRoom(reply);
        QCOMPARE(reply, text);
        QVERIFY(hasParserRoom(reply));
        const auto read = SerializablePromptItem::partialListFromJson(reply);
        QVERIFY(read.hasValue());
        QCOMPARE(read.value().records.size(), 1);
    }

    // Every documented member is read, and the record written back byte for
    // byte as documented.
    void documentedExamplesSurviveAReadAndAWrite() {
        QFile doc(QFINDTESTDATA("../../docs/prompt-format.md"));
        QVERIFY(doc.open(QIODevice::ReadOnly));
        const QByteArray text = doc.readAll();
        const qsizetype start = text.indexOf("\n## Examples");
        const QByteArray examples = text.mid(start, text.indexOf("\n## ", start + 1) - start);
        QSet<Denial::Kind> kinds;
        for (qsizetype at = examples.indexOf("```json\n"); at >= 0;
             at = examples.indexOf("```json\n", at + 1)) {
            const QByteArray json = examples.mid(at + 8, examples.indexOf("```", at + 8) - at - 8);
            const auto decoded = SerializablePromptItem::fromJson(json);
            QVERIFY2(decoded.hasValue(), qPrintable(decoded.error()));
            QCOMPARE(decoded.value().toJson(), json.trimmed());
            kinds.insert(decoded.value().denial.kind());
        }
        QCOMPARE(kinds.size(), 5);
    }

    // Texts and numbers come out as Qt's own JSON writer puts them.
    void writesWhatQtWouldWrite_data() {
        QTest::addColumn<QJsonValue>("value");
        QTest::newRow("plain") << QJsonValue(QStringLiteral("/Users/ada/a b.txt"));
        QTest::newRow("empty") << QJsonValue(QString());
        QTest::newRow("quote and backslash") << QJsonValue(QStringLiteral("say \"\\\"\\n"));
        QTest::newRow("short escapes") << QJsonValue(QStringLiteral("\b\f\n\r\t"));
        QTest::newRow("other controls") << QJsonValue(QString::fromUtf8("\x01\x1f\x7f", 3));
        QTest::newRow("NUL") << QJsonValue(QString(QChar(0)));
        QTest::newRow("beyond ASCII") << QJsonValue(QStringLiteral("zoë \u2028 😀"));
        QTest::newRow("lone high surrogate") << QJsonValue(QString(QChar(0xd800)) + u'x');
        QTest::newRow("lone low surrogate") << QJsonValue(QString(QChar(0xdc00)));
        QTest::newRow("fraction") << QJsonValue(1714567890.125);
        QTest::newRow("whole") << QJsonValue(1714567891.0);
        QTest::newRow("negative") << QJsonValue(-1.5);
        QTest::newRow("small") << QJsonValue(0.1);
        QTest::newRow("large") << QJsonValue(1e300);
        QTest::newRow("2^53") << QJsonValue(9007199254740992.0);
        QTest::newRow("beyond 2^53") << QJsonValue(9007199254740994.0);
        QTest::newRow("infinite") << QJsonValue(std::numeric_limits<double>::infinity());
        QTest::newRow("integer") << QJsonValue(qint64(-501));
        QTest::newRow("true") << QJsonValue(true);
    }

    void writesWhatQtWouldWrite() {
        QFETCH(QJsonValue, value);
        QByteArray written;
        JsonWriter writer(written);
        // Qt writes an object's members in the order of their names.
        writer.beginObject();
        writer.key("list");
        writer.value(QStringList{QStringLiteral("a"), QStringLiteral("\"")});
        writer.key("value");
        if (value.isString())
            writer.value(value.toString());
        else if (value.isBool())
            writer.value(value.toBool());
        else
            writer.value(value.toDouble());
        writer.endObject();
        const QJsonObject object{{QLatin1String("list"), QJsonArray{"a", "\""}},
                                 {QLatin1String("value"), value}};
        QCOMPARE(written, QJsonDocument(object).toJson(QJsonDocument::Compact));
    }

    void listsDecodeWholeOrRecordByRecord() {
        const auto empty = SerializablePromptItem::listFromJson(" [ ] ");
        QVERIFY(empty.hasValue() && empty.value().isEmpty());

        const QByteArray good = sampleItem(FileDenial{"/a", "read", std::nullopt}, "A").toJson();
        const QByteArray bad = record(R"({"kind":"file","path":"/a"})");
        const auto oneBad = SerializablePromptItem::listFromJson("[" + good + "," + bad + "]");
        QVERIFY(!oneBad.hasValue());
        QVERIFY2(oneBad.error().startsWith("record 1: missing field \"operation\""),
                 qPrintable(oneBad.error()));

        for (const QByteArray& json :
             {QByteArray("[" + good + ",]"), QByteArray("[" + good), QByteArray("{}")}) {
            const auto decoded = SerializablePromptItem::listFromJson(json);
            QVERIFY2(!decoded.hasValue() && !decoded.error().isEmpty(), json.constData());
            QVERIFY(!SerializablePromptItem::partialListFromJson(json).hasValue());
        }

        // Record by record, a record left half read costs that record only;
        // text that is not well-formed still fails as a whole.
        const QByteArray halfRead = R"({"id":1,"x":[{"y":[2]}],"sessionId":"s"})";
        const auto partial = SerializablePromptItem::partialListFromJson(
            "[" + good + "," + halfRead + "," + good + "," + bad + "]");
        QVERIFY2(partial.hasValue(), qPrintable(partial.error()));
        QCOMPARE(partial.value().records.size(), 2);
        QCOMPARE(partial.value().failures.size(), 2);
        QCOMPARE(partial.value().failures.at(1).index, 3);
        const QByteArray broken = R"({"id":1,"x":tru})";
        QVERIFY(!SerializablePromptItem::partialListFromJson("[" + good + "," + broken + "]")
                     .hasValue());
    }

    // A number beyond what the reader holds (beyond 64 bits, beyond a
    // double) is well-formed JSON: read record by record, it costs its own
    // record only. A list with anything else wrong still fails as a whole.
    void numbersOutOfRangeCostTheirRecord_data() {
        QTest::addColumn<QByteArrayList>("extras");   // each record's further members
        QTest::addColumn<QList<qsizetype>>("failed"); // empty: none; {-1}: the whole list
        const QByteArray huge = "1" + QByteArray(400, '0');
        QTest::newRow("a double's overflow")
            << QByteArrayList{"", R"(,"x":1e400)", ""} << QList<qsizetype>{1};
        QTest::newRow("a negative one, in an array")
            << QByteArrayList{"", "", R"(,"x":[{"y":-1.5E+400}])"} << QList<qsizetype>{2};
        QTest::newRow("beyond 64 bits, both ways")
            << QByteArrayList{R"(,"x":18446744073709551616)", "", R"(,"x":-9223372036854775809)"}
            << QList<qsizetype>{0, 2};
        QTest::newRow("many digits, a small exponent")
            << QByteArrayList{"", ",\"x\":" + huge + "e-5", ""} << QList<qsizetype>{1};
        QTest::newRow("too small for a double reads as zero")
            << QByteArrayList{",\"x\":0." + huge + "e5", R"(,"x":1e400)", R"(,"x":1e-400)"}
            << QList<qsizetype>{1};
        QTest::newRow("the edges of 64 bits")
            << QByteArrayList{R"(,"x":18446744073709551615)", R"(,"x":-9223372036854775808)", ""}
            << QList<qsizetype>{};
        QTest::newRow("in a text, no number")
            << QByteArrayList{"", R"(,"x":"1e400")", ""} << QList<qsizetype>{};
        QTest::newRow("beside a number written wrongly")
            << QByteArrayList{R"(,"x":1e400)", R"(,"x":01)", ""} << QList<qsizetype>{-1};
        QTest::newRow("beside one with no exponent digits")
            << QByteArrayList{R"(,"x":1e400)", R"(,"x":1e+)", ""} << QList<qsizetype>{-1};
        QTest::newRow("beside a missing comma")
            << QByteArrayList{R"(,"x":1e400)", R"(,"x":[1 2])", ""} << QList<qsizetype>{-1};
    }
    void numbersOutOfRangeCostTheirRecord() {
        QFETCH(QByteArrayList, extras);
        QFETCH(QList<qsizetype>, failed);
        QByteArrayList records;
        for (const QByteArray& extra : extras)
            records.append(record(R"({"kind":"file","path":"/a","operation":"read"})", extra));
        const auto read =
            SerializablePromptItem::partialListFromJson("[" + records.join(',') + "]");
        if (failed == QList<qsizetype>{-1}) {
            QVERIFY(!read.hasValue());
            return;
        }
        QVERIFY2(read.hasValue(), qPrintable(read.error()));
        QCOMPARE(read.value().records.size(), extras.size() - failed.size());
        QList<qsizetype> shown;
        for (const auto& failure : read.value().failures) {
            shown.append(failure.index);
            QCOMPARE(failure.error, "a number out of range");
        }
        QCOMPARE(shown, failed);
    }

    // In batches, the same records and failures as read in one go, each batch
    // told how many may still follow; a text that fails as a whole hands out
    // nothing.
    void listsDecodeInBatches() {
        QByteArrayList texts;
        for (int n = 0; n < 8; ++n)
            texts.append(
                n == 2 || n == 5
                    ? record(R"({"kind":"file","path":"/a"})")
                    : sampleItem(FileDenial{QString("/%1").arg(n), "read", {}}, QString::number(n))
                          .toJson());
        const QByteArray json = "[" + texts.join(',') + "]";
        QList<SerializablePromptItem> records;
        QList<qsizetype> failed;
        QList<qsizetype> sizes;
        QList<qsizetype> toComes;
        const auto read = SerializablePromptItem::partialListFromJson(
            json, 2, [&](SerializablePromptItem::PartialList batch, qsizetype toCome) {
                records += batch.records;
                for (const auto& failure : batch.failures)
                    failed.append(failure.index);
                sizes.append(batch.records.size());
                toComes.append(toCome);
            });
        QVERIFY2(read.hasValue(), qPrintable(read.error()));
        QCOMPARE(read.value(), 6);
        // Two elements to a batch, whether they decode or not.
        QCOMPARE(sizes, (QList<qsizetype>{2, 1, 1, 2}));
        QCOMPARE(toComes, (QList<qsizetype>{6, 4, 2, 0}));
        QCOMPARE(failed, (QList<qsizetype>{2, 5}));
        const auto whole = SerializablePromptItem::partialListFromJson(json);
        QCOMPARE(records, whole.value().records);

        bool isHandedOut = false;
        const auto broken = SerializablePromptItem::partialListFromJson(
            "[" + texts.first() + ",{]", 1,
            [&](SerializablePromptItem::PartialList, qsizetype) { isHandedOut = true; });
        QVERIFY(!broken.hasValue() && !isHandedOut);
    }

    // A sync repeats sessions, policy paths, operations and process names:
    // each text is held once, whatever its escapes, and only equal ones meet.
    void equalTextsAcrossRecordsShareOneString() {
        const QByteArray first = record(R"({"kind":"file","path":"/a","operation":"write",)"
                                        R"("processName":"node"})");
        const QByteArray second = record(R"({"kind":"file","path":"/a","operation":"writ\u0065",)"
                                         R"("processName":"nodes"})");
        const auto list = SerializablePromptItem::listFromJson("[" + first + "," + second + "]");
        QVERIFY2(list.hasValue(), qPrintable(list.error()));
        const SerializablePromptItem& a = list.value().at(0);
        const SerializablePromptItem& b = list.value().at(1);
        QCOMPARE(a.sessionId.constData(), b.sessionId.constData());
        QCOMPARE(a.policyPath.constData(), b.policyPath.constData());
        QCOMPARE(a.denial.as<FileDenial>()->operation.constData(),
                 b.denial.as<FileDenial>()->operation.constData());
        QCOMPARE(*a.denial.processName(), "node");
        QCOMPARE(*b.denial.processName(), "nodes");
    }

    // The text hash is SipHash, its rounds a parameter: with two and four it
    // gives SipHash-2-4's reference vectors (key 00 01 .. 0f, message 00 01 ..
    // of each length). Keyed, so that another seed gives another hash.
    void textHashIsKeyedSipHash_data() {
        QTest::addColumn<int>("length");
        QTest::addColumn<quint64>("hash");
        QTest::newRow("empty") << 0 << Q_UINT64_C(0x726fdb47dd0e0e31);
        QTest::newRow("one byte") << 1 << Q_UINT64_C(0x74f839c593dc67fd);
        QTest::newRow("one word") << 8 << Q_UINT64_C(0x93f5f5799a932462);
        QTest::newRow("a word and seven") << 15 << Q_UINT64_C(0xa129ca6149be45e5);
    }
    void textHashIsKeyedSipHash() {
        QFETCH(int, length);
        QFETCH(quint64, hash);
        QByteArray message;
        for (int n = 0; n < length; ++n)
            message.append(char(n));
        QCOMPARE(sipHash24(message, Q_UINT64_C(0x0706050403020100), Q_UINT64_C(0x0f0e0d0c0b0a0908)),
                 hash);
        QCOMPARE(textHash(message, 1), textHash(QByteArray(message), 1));
        QVERIFY(textHash(message, 1) != textHash(message, 2));
    }

    // A text key holds its hash under the seed that tables are made with, so
    // that a lookup need not read the text; a key made under an older seed
    // still finds its text in a table made under a newer one, and back.
    void textKeysFindTheirTextUnderAnySeed() {
        const QString text = QStringLiteral("3F2504E0-4F89-11D3-9A0C-0305E82C3301");
        const TextKey early = textKey(text);
        QHash<TextKey, int> before{{early, 1}};
        QHashSeed::setDeterministicGlobalSeed();
        const TextKey late = textKey(text);
        QHash<TextKey, int> after{{late, 2}};
        QHashSeed::resetRandomGlobalSeed();
        QVERIFY(early.hash.seed != late.hash.seed);
        QCOMPARE(after.value(early), 2);
        QCOMPARE(before.value(late), 1);
        QCOMPARE(before.value(borrowedTextKey(text, early.hash)), 1);
    }

    void fileOperationsParseExactly_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<std::optional<FileOperation>>("expected");

        QTest::newRow("read") << "read" << std::optional(FileOperation::read);
        QTest::newRow("delete") << "delete" << std::optional(FileOperation::remove);
        QTest::newRow("capitalised") << "Read" << std::optional<FileOperation>();
        QTest::newRow("case name, not raw value") << "remove" << std::optional<FileOperation>();
    }

    void fileOperationsParseExactly() {
        QFETCH(QString, text);
        QFETCH(std::optional<FileOperation>, expected);
        QCOMPARE(fileOperationFromRaw(text), expected);
        if (expected)
            QCOMPARE(rawValue(*expected), text);
    }

    // What the screen shows of a text from the agent: everything that would
    // hide itself stands as its escape, and nothing else changes.
    void visibleTextHidesNothing_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        QTest::newRow("plain, accents, beyond the basic plane")
            << QString::fromUtf16(u"/Users/zoë/😀 a\\b") << QString::fromUtf16(u"/Users/zoë/😀 a\\b");
        QTest::newRow("a line break drawing a second line") << "node\n (read-only copy)\r\t"
                                                            << "node\\n (read-only copy)\\r\\t";
        QTest::newRow("an override turning the name around")
            << QString::fromUtf16(u"/a/\u202Etxt.sh") << "/a/\\u{202e}txt.sh";
        QTest::newRow("isolates, marks, a zero-width joiner")
            << QString::fromUtf16(u"\u2067x\u2069\u200F\u200D")
            << "\\u{2067}x\\u{2069}\\u{200f}\\u{200d}";
        QTest::newRow("NUL, C1 control, line and paragraph separators")
            << QStringLiteral("a") + QChar(0) + QString::fromUtf16(u"\u0085\u2028\u2029")
            << "a\\u{0000}\\u{0085}\\u{2028}\\u{2029}";
        QTest::newRow("a tag character beyond the basic plane")
            << QString::fromUtf16(u"ok\U000E0041") << "ok\\u{e0041}";
        QTest::newRow("a lone surrogate stays")
            << QString(QChar(0xd800)) + "x" << QString(QChar(0xd800)) + "x";
    }
    void visibleTextHidesNothing() {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        QCOMPARE(visibleText(text), shown);
    }

    // What the screen shows: a text with right-to-left letters starts left to
    // right, and each '/' is followed by a mark that keeps the component after
    // it in its place; the letters are the visible text's, in their order.
    void displayTextKeepsComponentsInPlace_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown"); // '|' for the mark
        QTest::newRow("left to right only: as it is")
            << QString::fromUtf8("/Users/zoë/a b") << QString::fromUtf8("/Users/zoë/a b");
        QTest::newRow("Arabic components") << QString::fromUtf8("/Users/محمد/مشاريع/سري.json")
                                           << QString::fromUtf8("|/|Users/|محمد/|مشاريع/|سري.json");
        QTest::newRow("Hebrew, no slash")
            << QString::fromUtf8("דוד [s]") << QString::fromUtf8("|דוד [s]");
        QTest::newRow("the agent's own mark stays an escape")
            << QString::fromUtf8("/a/\u200Fب") << QString::fromUtf8("|/|a/|\\u{200f}ب");
        QTest::newRow("right to left beyond the basic plane")
            << QString::fromUtf16(u"/𞤀/𞤁") << QString::fromUtf16(u"|/|𞤀/|𞤁");
    }
    void displayTextKeepsComponentsInPlace() {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        QCOMPARE(displayText(text), QString(shown).replace(u'|', QChar(0x200e)));
    }
};

QTEST_GUILESS_MAIN(SharedTest)
#include "tst_shared.moc"
