#include "prompts/PromptTitle.h"

namespace zor {
namespace {

void appendFileTitle(QString& text, const FileDenial& denial) {
    const qsizetype start = text.size();
    text += denial.operation;
    bool isWordStart = true;
    for (QChar* c = text.data() + start; c != text.data() + text.size(); ++c) {
        if (c->isSpace()) {
            isWordStart = true;
        } else if (isWordStart) {
            *c = c->toUpper();
            isWordStart = false;
        }
    }
    text += u" File";
}

// Every other kind's title: static text.
QStringView fixedTitle(Denial::Kind kind) {
    switch (kind) {
    case Denial::Kind::file:
        break;
    case Denial::Kind::network:
        return u"Network Request";
    case Denial::Kind::exec:
        return u"Execute Process";
    case Denial::Kind::signal:
        return u"Signal";
    case Denial::Kind::ioDevice:
        return u"IOKit Device";
    }
    return {};
}

} // namespace

QString promptTitle(const Denial& denial) {
    if (const FileDenial* file = denial.as<FileDenial>()) {
        QString title;
        appendFileTitle(title, *file);
        return title;
    }
    const QStringView title = fixedTitle(denial.kind());
    return QString::fromRawData(title.data(), title.size());
}

QStringView promptTitle(const Denial& denial, QString& scratch) {
    if (const FileDenial* file = denial.as<FileDenial>()) {
        scratch.resize(0);
        appendFileTitle(scratch, *file);
        return scratch;
    }
    return fixedTitle(denial.kind());
}

} // namespace zor
