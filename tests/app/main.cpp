#include <QGuiApplication>
#include <QTest>
#include <memory>

// The area's tests are two classes: the headless registration and the windowed shell.
std::unique_ptr<QObject> makeHeadlessAppTest();
std::unique_ptr<QObject> makeAppShellTest();

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    int failures = 0;
    for (const auto& test : {makeHeadlessAppTest(), makeAppShellTest()})
        failures += QTest::qExec(test.get(), argc, argv);
    return failures;
}
