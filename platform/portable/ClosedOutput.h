#pragma once

namespace zor {

// A write to a pipe whose reader has gone raises SIGPIPE, which ends the
// process: a closed pager or `zor | head` would take the app with it. After
// this, such a write fails with EPIPE instead. The signal gets a handler that
// does nothing rather than being ignored, since programs the app starts would
// inherit an ignored signal, and a handler goes at exec.
void survivePipesClosedUnderfoot();

// A standard stream closed at start (`zor 2>&-`) leaves its number free, and
// the next file or socket opened takes it: log lines would then be written
// into whatever that is. Each closed one is opened on /dev/null instead.
void openClosedStandardStreams();

} // namespace zor
