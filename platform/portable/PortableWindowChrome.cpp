#include "platform/portable/PortableWindowChrome.h"

namespace zor {

void PortableWindowChrome::styleMainWindow(QWindow&) {}

qreal PortableWindowChrome::tabRowLeadingPadding() const {
    return 20;
}

} // namespace zor
