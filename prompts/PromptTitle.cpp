#include "prompts/PromptTitle.h"

namespace zor {
namespace {

QString capitalisedWords(QString text) {
    bool isWordStart = true;
    for (QChar& c : text) {
        if (c.isSpace()) {
            isWordStart = true;
        } else if (isWordStart) {
            c = c.toUpper();
            isWordStart = false;
        }
    }
    return text;
}

} // namespace

QString promptTitle(const Denial& denial) {
    switch (denial.kind()) {
    case Denial::Kind::file:
        return capitalisedWords(denial.as<FileDenial>()->operation) + QStringLiteral(" File");
    case Denial::Kind::network:
        return QStringLiteral("Network Request");
    case Denial::Kind::exec:
        return QStringLiteral("Execute Process");
    case Denial::Kind::signal:
        return QStringLiteral("Signal");
    case Denial::Kind::ioDevice:
        return QStringLiteral("IOKit Device");
    }
    return {};
}

} // namespace zor
