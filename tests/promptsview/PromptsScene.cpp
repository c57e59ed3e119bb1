#include "PromptsScene.h"

#include "prompts/PromptDecider.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptRowMenu.h"
#include "prompts/PromptsViewModel.h"
#include "shared/SerializablePromptItem.h"
#include "window/qml/QuickViews.h"

#include <QFile>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>

namespace zor::testing {

PromptsScene::PromptsScene() {
    handler.setAppState(&appState);
    handler.connect();
    connector.connections.last()->replyToPrompts("[]");
    for (int round = 0; round < 3; ++round) {
        queue.drain();
        QCoreApplication::sendPostedEvents();
    }
}

PromptsScene::~PromptsScene() {
    view.reset();
    handler.disconnect();
    queue.drain();
}

void PromptsScene::addSamplePrompts() {
    QFile file(QStringLiteral(ZOR_SAMPLE_PROMPTS_PATH));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("PromptsScene: cannot read the sample prompts");
    const auto records = SerializablePromptItem::listFromJson(file.readAll());
    if (!records)
        qFatal("PromptsScene: the sample prompts do not decode");
    for (const SerializablePromptItem& record : records.value())
        appState.promptStore()->addPrompt(promptIdFromText(record.id), record.sessionId,
                                          record.policyPath, record.denial, record.isSessionEnded);
}

bool PromptsScene::show(int width, int height) {
    PromptStore& store = *appState.promptStore();
    listModel = std::make_unique<PromptListModel>(store);
    decider = std::make_unique<PromptDecider>(store, *listModel, handler);
    viewModel = std::make_unique<PromptsViewModel>(store, *listModel, *decider, handler);
    rowMenu = std::make_unique<PromptRowMenu>(appState, clipboard);

    view = std::make_unique<QQuickView>();
    prepareZorEngine(*view->engine());
    view->setInitialProperties({
        {"viewModel", QVariant::fromValue(viewModel.get())},
        {"listModel", QVariant::fromValue(listModel.get())},
        {"decider", QVariant::fromValue(decider.get())},
        {"rowMenu", QVariant::fromValue(rowMenu.get())},
    });
    view->setResizeMode(QQuickView::SizeRootObjectToView);
    view->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Zor/prompts/PromptsView.qml")));
    if (view->status() != QQuickView::Ready) {
        for (const QQmlError& error : view->errors())
            qWarning("%s", qPrintable(error.toString()));
        return false;
    }
    view->resize(width, height);
    view->show();
    return QTest::qWaitForWindowExposed(view.get());
}

QImage PromptsScene::grab() {
    QTest::qWait(50); // canvases paint on the next frame
    return view->grabWindow();
}

QQuickItem* PromptsScene::item(const QString& objectName) const {
    return view->rootObject()->objectName() == objectName
               ? view->rootObject()
               : view->rootObject()->findChild<QQuickItem*>(objectName);
}

} // namespace zor::testing
