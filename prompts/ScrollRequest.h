#pragma once

#include <QObject>
#include <QPointF>
#include <QUuid>

namespace zor {

// Asks the list to bring a prompt into view, with the anchor as fractions of
// the viewport. The generation makes each request differ from the last one,
// so asking twice for the same prompt scrolls twice.
struct ScrollRequest {
    Q_GADGET
    Q_PROPERTY(QString promptId READ promptIdText)
    Q_PROPERTY(QPointF anchor MEMBER anchor)
    Q_PROPERTY(qint64 generation MEMBER generation)

public:
    QUuid id;
    QPointF anchor;
    qint64 generation = 0;

    QString promptIdText() const { return id.toString(QUuid::WithoutBraces); }
    bool operator==(const ScrollRequest&) const = default;
};

} // namespace zor
