#include "shared/Denial.h"
#include "shared/ExecRule.h"
#include "shared/FileOperation.h"
#include "shared/FilesystemRule.h"
#include "shared/IoDeviceRule.h"
#include "shared/NetworkRule.h"
#include "shared/RuleLifetime.h"
#include "shared/SerializablePromptItem.h"

#include <QFile>
#include <QTest>

Q_DECLARE_METATYPE(std::optional<zor::FileOperation>)

using namespace zor;
using namespace std::chrono_literals;

namespace {

QByteArray record(const QByteArray& denial, const QByteArray& extra = {}) {
    return R"({"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","sessionId":"s1",)"
           R"("policyPath":"/p/.zor/policy.yml","denial":)" +
           denial + R"(,"sessionEnded":true,"createdAt":1714567890.25)" + extra + "}";
}

SerializablePromptItem sampleItem(Denial denial, const QString& id = QStringLiteral("A")) {
    SerializablePromptItem item;
    item.id = id;
    item.sessionId = QStringLiteral("session \"7\"");
    item.policyPath = QStringLiteral("/Users/zoë/proj/.zor/policy.yml");
    item.denial = std::move(denial);
    item.isSessionEnded = false;
    item.createdAt = SerializablePromptItem::Time(1714567890123ms);
    return item;
}

QList<Denial> oneDenialOfEachKind() {
    return {
        FileDenial{"/tmp/a b/\"q\".txt", "write", "cat"},
        NetworkDenial{"example.org", 65535, std::nullopt},
        ExecDenial{"/bin/ls", {"-la", "dir with space", "\\x", "\n"}, "zsh"},
        SignalDenial{9, 4242, "Finder", "kill"},
        IoDeviceDenial{"IOUSBHostDevice", std::nullopt},
    };
}

} // namespace

class SharedTest : public QObject {
    Q_OBJECT

private slots:
    void decodesEveryKind_data() {
        QTest::addColumn<QByteArray>("denialJson");
        QTest::addColumn<Denial>("expected");
        QTest::addColumn<QString>("typeString");
        QTest::addColumn<QString>("target");

        QTest::newRow("file")
            << QByteArray(
                   R"({"kind":"file","path":"/etc/hosts","operation":"write","processName":"vim"})")
            << Denial(FileDenial{"/etc/hosts", "write", "vim"}) << "file"
            << "/etc/hosts";
        QTest::newRow("network") << QByteArray(
                                        R"({"port":443,"host":"example.org","kind":"network"})")
                                 << Denial(NetworkDenial{"example.org", 443, std::nullopt})
                                 << "network"
                                 << "example.org:443";
        QTest::newRow("network ipv6") << QByteArray(R"({"kind":"network","host":"::1","port":0})")
                                      << Denial(NetworkDenial{"::1", 0, std::nullopt}) << "network"
                                      << "[::1]:0";
        QTest::newRow("exec")
            << QByteArray(
                   R"({"kind":"exec","path":"/usr/bin/git","args":["push","-f"],"processName":null})")
            << Denial(ExecDenial{"/usr/bin/git", {"push", "-f"}, std::nullopt}) << "exec"
            << "/usr/bin/git push -f";
        QTest::newRow("exec without args")
            << QByteArray(R"({"kind":"exec","path":"/bin/true","args":[]})")
            << Denial(ExecDenial{"/bin/true", {}, std::nullopt}) << "exec"
            << "/bin/true";
        QTest::newRow("signal")
            << QByteArray(
                   R"({"kind":"signal","signalNumber":15,"targetPid":501,"targetProcessName":"Dock"})")
            << Denial(SignalDenial{15, 501, "Dock", std::nullopt}) << "signal"
            << "signal 15 to pid 501 (Dock)";
        QTest::newRow("signal to unnamed group")
            << QByteArray(R"({"kind":"signal","signalNumber":9,"targetPid":-1,"processName":"sh"})")
            << Denial(SignalDenial{9, -1, std::nullopt, "sh"}) << "signal"
            << "signal 9 to pid -1";
        QTest::newRow("device")
            << QByteArray(R"({"kind":"device","deviceClass":"IOHIDDevice","futureField":[1,{}]})")
            << Denial(IoDeviceDenial{"IOHIDDevice", std::nullopt}) << "device"
            << "IOHIDDevice";
    }

    void decodesEveryKind() {
        QFETCH(QByteArray, denialJson);
        QFETCH(Denial, expected);
        QFETCH(QString, typeString);
        QFETCH(QString, target);

        const auto decoded = SerializablePromptItem::fromJson(record(denialJson));
        QVERIFY2(decoded.hasValue(), qPrintable(decoded.error()));
        const SerializablePromptItem& item = decoded.value();
        QCOMPARE(item.id, "6F9619FF-8B86-D011-B42D-00C04FC964FF");
        QCOMPARE(item.sessionId, "s1");
        QCOMPARE(item.policyPath, "/p/.zor/policy.yml");
        QVERIFY(item.isSessionEnded);
        QCOMPARE(item.createdAt.time_since_epoch(), 1714567890250ms);
        QVERIFY(item.denial == expected);
        QCOMPARE(item.denial.kind(), expected.kind());
        QCOMPARE(item.denial.typeString(), typeString);
        QCOMPARE(item.denial.target(), target);
        QCOMPARE(item.denial.processName(), expected.processName());
    }

    void kindsKeepTheirOrder() {
        const QList<Denial> denials = oneDenialOfEachKind();
        const QList<Denial::Kind> kinds = {Denial::Kind::file, Denial::Kind::network,
                                           Denial::Kind::exec, Denial::Kind::signal,
                                           Denial::Kind::ioDevice};
        for (qsizetype i = 0; i < denials.size(); ++i) {
            QCOMPARE(denials[i].kind(), kinds[i]);
            QCOMPARE(int(denials[i].kind()), int(i));
        }
        QCOMPARE(denials[0].as<FileDenial>()->operation, "write");
        QVERIFY(!denials[0].as<ExecDenial>());
    }

    void recordsSurviveEncodingAndDecoding() {
        QList<SerializablePromptItem> items;
        for (const Denial& denial : oneDenialOfEachKind()) {
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

    void stringEscapesAreDecoded_data() {
        QTest::addColumn<QByteArray>("jsonText");
        QTest::addColumn<QString>("expected");

        QTest::newRow("plain") << QByteArray(R"("abc")") << "abc";
        QTest::newRow("empty") << QByteArray(R"("")") << "";
        QTest::newRow("short escapes") << QByteArray(R"("\"\\\/\b\f\n\r\t")") << "\"\\/\b\f\n\r\t";
        QTest::newRow("unicode escape") << QByteArray(R"("caf\u00e9")") << "café";
        QTest::newRow("surrogate pair") << QByteArray(R"("\ud83d\ude00!")") << "😀!";
        QTest::newRow("raw utf-8") << QByteArray("\"zoë 😀\"") << "zoë 😀";
        QTest::newRow("escape after utf-8") << QByteArray("\"ë\\tx\"") << "ë\tx";
        QTest::newRow("nul") << QByteArray(R"("a\u0000b")") << QStringView(u"a\0b", 3).toString();
    }

    void stringEscapesAreDecoded() {
        QFETCH(QByteArray, jsonText);
        QFETCH(QString, expected);
        const auto decoded = SerializablePromptItem::fromJson(
            record(R"({"kind":"device","deviceClass":)" + jsonText + "}"));
        QVERIFY2(decoded.hasValue(), qPrintable(decoded.error()));
        QCOMPARE(decoded.value().denial.target(), expected);
    }

    void malformedInputIsAnError_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("errorPart");

        const QByteArray file = R"({"kind":"file","path":"/a","operation":"read"})";
        QTest::newRow("empty") << QByteArray() << "expected an object";
        QTest::newRow("not json") << QByteArray("hello") << "expected an object";
        QTest::newRow("array for one record") << QByteArray("[]") << "expected an object";
        QTest::newRow("truncated") << record(file).chopped(5) << "";
        QTest::newRow("text after the value") << record(file) + " x"
                                              << "after the value";
        QTest::newRow("two values") << record(file) + record(file) << "after the value";
        QTest::newRow("trailing comma") << record(file, ",") << "member name";
        QTest::newRow("missing colon") << QByteArray(R"({"id" "x"})") << "expected ':'";
        QTest::newRow("single quotes") << QByteArray("{'id':'x'}") << "member name";
        QTest::newRow("missing id") << QByteArray(R"({"sessionId":"s","policyPath":"p",)"
                                                  R"("denial":)" +
                                                  file + R"(,"sessionEnded":false,"createdAt":0})")
                                    << "missing field \"id\"";
        QTest::newRow("missing createdAt")
            << QByteArray(R"({"id":"x","sessionId":"s","policyPath":"p","denial":)" + file +
                          R"(,"sessionEnded":false})")
            << "missing field \"createdAt\"";
        QTest::newRow("id as number")
            << record(file).replace(R"("6F9619FF-8B86-D011-B42D-00C04FC964FF")", "7")
            << "expected a string";
        QTest::newRow("flag as text")
            << record(file).replace(R"("sessionEnded":true)", R"("sessionEnded":"true")")
            << "expected true or false";
        QTest::newRow("createdAt as text")
            << record(file).replace("1714567890.25", R"("2024-05-01")") << "expected a number";
        QTest::newRow("denial null") << record("null") << "expected an object";
        QTest::newRow("denial without kind")
            << record(R"({"path":"/a","operation":"read"})") << "missing field \"kind\"";
        QTest::newRow("unknown kind")
            << record(R"({"kind":"mach","path":"/a"})") << "unknown denial kind \"mach\"";
        QTest::newRow("kind in other case")
            << record(R"({"kind":"File","path":"/a","operation":"read"})") << "unknown denial kind";
        QTest::newRow("file without operation")
            << record(R"({"kind":"file","path":"/a"})") << "missing field \"operation\"";
        QTest::newRow("port too large")
            << record(R"({"kind":"network","host":"h","port":65536})") << "out of range";
        QTest::newRow("negative port")
            << record(R"({"kind":"network","host":"h","port":-1})") << "out of range";
        QTest::newRow("fractional port")
            << record(R"({"kind":"network","host":"h","port":80.5})") << "expected an integer";
        QTest::newRow("port with exponent")
            << record(R"({"kind":"network","host":"h","port":8e1})") << "expected an integer";
        QTest::newRow("port as text")
            << record(R"({"kind":"network","host":"h","port":"80"})") << "expected an integer";
        QTest::newRow("huge integer")
            << record(R"({"kind":"network","host":"h","port":99999999999999999999})")
            << "integer out of range";
        QTest::newRow("pid beyond 32 bits")
            << record(R"({"kind":"signal","signalNumber":9,"targetPid":4294967296})")
            << "out of range";
        QTest::newRow("leading zero")
            << record(R"({"kind":"network","host":"h","port":080})") << "leading zero";
        QTest::newRow("args not a list")
            << record(R"({"kind":"exec","path":"/a","args":"-l"})") << "expected an array";
        QTest::newRow("number in args")
            << record(R"({"kind":"exec","path":"/a","args":["-l",2]})") << "expected a string";
        QTest::newRow("trailing comma in args")
            << record(R"({"kind":"exec","path":"/a","args":["-l",]})") << "expected a value";
        QTest::newRow("processName as number")
            << record(R"({"kind":"device","deviceClass":"c","processName":3})")
            << "expected a string";
        QTest::newRow("control character")
            << record("{\"kind\":\"device\",\"deviceClass\":\"a\tb\"}") << "control character";
        QTest::newRow("invalid escape")
            << record(R"({"kind":"device","deviceClass":"a\qb"})") << "invalid escape";
        QTest::newRow("lone high surrogate")
            << record(R"({"kind":"device","deviceClass":"\ud83d"})") << "unpaired surrogate";
        QTest::newRow("lone low surrogate")
            << record(R"({"kind":"device","deviceClass":"\ude00"})") << "unpaired surrogate";
        QTest::newRow("invalid utf-8")
            << record("{\"kind\":\"device\",\"deviceClass\":\"\xC3\x28\"}") << "invalid UTF-8";
        QTest::newRow("overlong utf-8")
            << record("{\"kind\":\"device\",\"deviceClass\":\"\xC0\xAF\"}") << "invalid UTF-8";
        QTest::newRow("encoded surrogate")
            << record("{\"kind\":\"device\",\"deviceClass\":\"\xED\xA0\x80\"}") << "invalid UTF-8";
        QTest::newRow("unterminated string")
            << QByteArray("{\"id\":\"abc") << "unterminated string";
        QTest::newRow("bad literal") << record(file).replace("true", "tru") << "true or false";
        QTest::newRow("deeply nested unknown field")
            << record(file, R"(,"x":)" + QByteArray(100, '[') + QByteArray(100, ']'))
            << "nested too deeply";
    }

    void malformedInputIsAnError() {
        QFETCH(QByteArray, json);
        QFETCH(QString, errorPart);
        const auto decoded = SerializablePromptItem::fromJson(json);
        QVERIFY(!decoded.hasValue());
        QVERIFY(!decoded.error().isEmpty());
        QVERIFY2(decoded.error().contains(errorPart), qPrintable(decoded.error()));
        QVERIFY2(decoded.error().contains(" at byte "), qPrintable(decoded.error()));
    }

    void unknownMembersAreSkippedAndRepeatedOnesTakeTheLastValue() {
        const auto decoded = SerializablePromptItem::fromJson(
            record(R"({"kind":"file","path":"/a","path":"/b","operation":"read","port":1})",
                   R"(, "agent" : {"v":[1,-2.5e3,null,true,"x\/y"]} ,"sessionId":"s2")"));
        QVERIFY2(decoded.hasValue(), qPrintable(decoded.error()));
        QCOMPARE(decoded.value().sessionId, "s2");
        QVERIFY(decoded.value().denial == Denial(FileDenial{"/b", "read", std::nullopt}));
    }

    void documentedExamplesDecode() {
        QFile doc(QFINDTESTDATA("../../docs/prompt-format.md"));
        QVERIFY(doc.open(QIODevice::ReadOnly));
        const QByteArray text = doc.readAll();
        const qsizetype start = text.indexOf("\n## Examples");
        const qsizetype end = text.indexOf("\n## ", start + 1);
        QVERIFY(start > 0 && end > start);
        const QByteArray examples = text.mid(start, end - start);

        QList<Denial::Kind> kinds;
        for (qsizetype at = examples.indexOf("```json\n"); at >= 0;
             at = examples.indexOf("```json\n", at + 1)) {
            const qsizetype from = at + 8;
            const QByteArray json = examples.mid(from, examples.indexOf("```", from) - from);
            const auto decoded = SerializablePromptItem::fromJson(json);
            QVERIFY2(decoded.hasValue(), qPrintable(decoded.error()));
            kinds.append(decoded.value().denial.kind());
        }
        QCOMPARE(kinds,
                 (QList<Denial::Kind>{Denial::Kind::file, Denial::Kind::network, Denial::Kind::exec,
                                      Denial::Kind::signal, Denial::Kind::ioDevice}));
    }

    void listsDecodeWholeOrNotAtAll() {
        const auto empty = SerializablePromptItem::listFromJson(" [ ] ");
        QVERIFY(empty.hasValue());
        QVERIFY(empty.value().isEmpty());

        const QByteArray good = sampleItem(FileDenial{"/a", "read", std::nullopt}).toJson();
        const auto two = SerializablePromptItem::listFromJson("[" + good + ",\n" + good + "]");
        QVERIFY2(two.hasValue(), qPrintable(two.error()));
        QCOMPARE(two.value().size(), 2);

        const QByteArray bad = record(R"({"kind":"file","path":"/a"})");
        const auto oneBad = SerializablePromptItem::listFromJson("[" + good + "," + bad + "]");
        QVERIFY(!oneBad.hasValue());
        QVERIFY2(oneBad.error().startsWith("record 1: missing field \"operation\""),
                 qPrintable(oneBad.error()));

        for (const QByteArray& json :
             {QByteArray("[" + good + ",]"), QByteArray("[" + good), QByteArray("{}"),
              QByteArray("[" + good + "] ]"), QByteArray("[,]"), QByteArray("null")}) {
            const auto decoded = SerializablePromptItem::listFromJson(json);
            QVERIFY2(!decoded.hasValue(), json.constData());
            QVERIFY(!decoded.error().isEmpty());
        }
    }

    void fileOperationsParseExactly_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<std::optional<FileOperation>>("expected");

        QTest::newRow("read") << "read" << std::optional(FileOperation::read);
        QTest::newRow("write") << "write" << std::optional(FileOperation::write);
        QTest::newRow("create") << "create" << std::optional(FileOperation::create);
        QTest::newRow("delete") << "delete" << std::optional(FileOperation::remove);
        QTest::newRow("rename") << "rename" << std::optional(FileOperation::rename);
        QTest::newRow("capitalised") << "Read" << std::optional<FileOperation>();
        QTest::newRow("upper case") << "WRITE" << std::optional<FileOperation>();
        QTest::newRow("padded") << " read" << std::optional<FileOperation>();
        QTest::newRow("prefix") << "rea" << std::optional<FileOperation>();
        QTest::newRow("case name, not raw value") << "remove" << std::optional<FileOperation>();
        QTest::newRow("other operation") << "chmod" << std::optional<FileOperation>();
        QTest::newRow("empty") << "" << std::optional<FileOperation>();
    }

    void fileOperationsParseExactly() {
        QFETCH(QString, text);
        QFETCH(std::optional<FileOperation>, expected);
        QCOMPARE(fileOperationFromRaw(text), expected);
        if (expected)
            QCOMPARE(rawValue(*expected), text);
    }

    void ruleRecordsHoldWhatTheyAreGiven() {
        QCOMPARE(int(PolicyAction::allow), 0);
        QCOMPARE(int(PolicyAction::deny), 1);
        QCOMPARE(int(RuleLifetime::once), 0);
        QCOMPARE(int(RuleLifetime::session), 1);
        QCOMPARE(int(RuleLifetime::always), 2);
        QCOMPARE(description(RuleLifetime::once), "once");
        QCOMPARE(description(RuleLifetime::session), "session");
        QCOMPARE(description(RuleLifetime::always), "always");

        const FilesystemRule file{"/tmp/x", PolicyAction::allow, fileOperationFromRaw(u"chmod")};
        QCOMPARE(file.path, "/tmp/x");
        QCOMPARE(file.action, PolicyAction::allow);
        QVERIFY(!file.operation);

        const ExecRule exec = ExecRule::fromArgs("/bin/rm", {"-rf", "/tmp/y"}, PolicyAction::deny);
        QCOMPARE(exec, (ExecRule{"/bin/rm", {"-rf", "/tmp/y"}, PolicyAction::deny}));

        const NetworkRule network{"example.org", PolicyAction::allow, QList<quint16>{443},
                                  std::nullopt,  std::nullopt,        std::nullopt};
        QCOMPARE(network.ports, std::optional(QList<quint16>{443}));
        QVERIFY(!network.maxOutboundBytes && !network.maxInboundBytes && !network.paths);
        QVERIFY(network != (NetworkRule{"example.org", PolicyAction::allow, std::nullopt,
                                        std::nullopt, std::nullopt, std::nullopt}));

        const IoDeviceRule device{"IOUSBHostDevice", PolicyAction::deny};
        QCOMPARE(device.deviceClass, "IOUSBHostDevice");
        QCOMPARE(device.action, PolicyAction::deny);
    }
};

QTEST_GUILESS_MAIN(SharedTest)
#include "tst_shared.moc"
