#include "shared/VisibleText.h"

#include <utility>

namespace zor {

namespace {

bool isHidden(char32_t c) {
    if (c >= 0x20 && c < 0x7f)
        return false;
    switch (QChar::category(c)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

void appendEscape(QString& out, char32_t c) {
    switch (c) {
    case U'\n':
        out += u"\\n";
        break;
    case U'\r':
        out += u"\\r";
        break;
    case U'\t':
        out += u"\\t";
        break;
    default:
        out += QStringLiteral("\\u{%1}").arg(uint(c), 4, 16, QChar(u'0'));
    }
}

// The code point at `at` and the units it takes; a lone surrogate stands for itself.
std::pair<char32_t, qsizetype> codePointAt(QStringView text, qsizetype at) {
    const QChar c = text[at];
    if (c.isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate())
        return {QChar::surrogateToUcs4(c, text[at + 1]), 2};
    return {c.unicode(), 1};
}

bool isRightToLeft(char32_t c) {
    switch (QChar::direction(c)) {
    case QChar::DirR:
    case QChar::DirAL:
        return true;
    default:
        return false;
    }
}

} // namespace

QString visibleText(const QString& text) {
    qsizetype at = 0;
    while (at < text.size()) {
        const auto [c, units] = codePointAt(text, at);
        if (isHidden(c))
            break;
        at += units;
    }
    if (at == text.size())
        return text;
    QString out = text.first(at);
    while (at < text.size()) {
        const auto [c, units] = codePointAt(text, at);
        if (isHidden(c))
            appendEscape(out, c);
        else
            out += QStringView(text).sliced(at, units);
        at += units;
    }
    return out;
}

QString displayText(const QString& text) {
    QString shown = visibleText(text);
    bool hasRightToLeft = false;
    for (qsizetype at = 0; at < shown.size() && !hasRightToLeft;) {
        const auto [c, units] = codePointAt(shown, at);
        hasRightToLeft = isRightToLeft(c);
        at += units;
    }
    if (!hasRightToLeft)
        return shown;
    constexpr QChar kMark(0x200e);
    QString out;
    out.reserve(shown.size() + shown.count(u'/') + 1);
    out += kMark;
    for (const QChar c : std::as_const(shown)) {
        out += c;
        if (c == u'/')
            out += kMark;
    }
    return out;
}

std::optional<MiddleCut> middleCut(QStringView text, qsizetype head, qsizetype tail) {
    if (text.size() <= head + tail + 1)
        return std::nullopt;
    MiddleCut cut{head, text.size() - tail};
    if (text[cut.headEnd - 1].isHighSurrogate())
        --cut.headEnd;
    if (text[cut.tailStart].isLowSurrogate())
        ++cut.tailStart;
    return cut;
}

} // namespace zor
