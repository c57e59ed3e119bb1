#include "setup/StepDisplay.h"

#include <QRegularExpression>
#include <QUrl>

namespace zor {
namespace {

// Markdown lets a backslash escape any ASCII punctuation character.
bool isEscapable(QChar c) {
    return QStringView(u"!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~").contains(c);
}

// A line that Markdown would turn into a heading, quote, list, rule or code
// block. Instructions are inline text; such a line would not render as written.
bool startsBlock(const QString& line) {
    static const QRegularExpression block(QStringLiteral(
        R"(^(?: {4}|\t| {0,3}(?:#{1,6}(?:\s|$)|>|[-+*](?:\s|$)|\d{1,9}[.)](?:\s|$)|```|~~~|=+\s*$|(?:[-*_]\s*){3,}$)))"));
    return block.match(line).hasMatch();
}

// Reads "[text](url)" whose '[' is at `open`; returns the index of its ')', or
// -1 when the brackets do not form a link to an absolute URL.
qsizetype endOfLink(QStringView text, qsizetype open) {
    qsizetype i = open + 1;
    for (; i < text.size() && text[i] != u']'; ++i) {
        if (text[i] == u'[')
            return -1;
        if (text[i] == u'\\' && i + 1 < text.size() && isEscapable(text[i + 1]))
            ++i;
    }
    const bool hasLinkText = i > open + 1;
    if (!hasLinkText || i + 1 >= text.size() || text[i + 1] != u'(')
        return -1;

    const qsizetype urlStart = i + 2;
    const qsizetype close = text.indexOf(u')', urlStart);
    if (close < 0)
        return -1;
    const QStringView target = text.mid(urlStart, close - urlStart);
    for (QChar c : target)
        if (c.isSpace() || c == u'(' || c == u'<' || c == u'>')
            return -1;
    const QUrl url(target.toString(), QUrl::StrictMode);
    return url.isValid() && !url.scheme().isEmpty() ? close : -1;
}

} // namespace

bool StepDisplay::isInstructionMarkdown() const {
    const QString text = instructionText();
    for (const QString& line : text.split(u'\n'))
        if (startsBlock(line))
            return false;

    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c == u'\\' && i + 1 < text.size() && isEscapable(text[i + 1])) {
            ++i;
        } else if (c == u']') {
            return false;
        } else if (c == u'[') {
            i = endOfLink(text, i);
            if (i < 0)
                return false;
        }
    }
    return true;
}

} // namespace zor
