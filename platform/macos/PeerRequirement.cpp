#include "platform/macos/PeerRequirement.h"

#include <QRegularExpression>

namespace zor {

QString peerRequirement(const std::optional<QString>& teamIdentifier,
                        const QString& signingIdentifier) {
    // Both go into the requirement between quotes: nothing else may pass.
    static const QRegularExpression team(QStringLiteral("^[A-Z0-9]{10}$"));
    static const QRegularExpression identifier(QStringLiteral("^[A-Za-z0-9][A-Za-z0-9.-]*$"));
    if (!teamIdentifier || !team.match(*teamIdentifier).hasMatch() ||
        !identifier.match(signingIdentifier).hasMatch())
        return QStringLiteral("never");
    return QStringLiteral("anchor apple generic and certificate leaf[subject.OU] = \"%1\" and "
                          "identifier \"%2\"")
        .arg(*teamIdentifier, signingIdentifier);
}

} // namespace zor
