// Must fail the check: a log line whose value does not fit its placeholder.
// Expected error: format specifies type 'char *' but the argument has type 'int'
#include <os/log.h>

void logAttempt(os_log_t log, int attempt) {
#ifdef ZOR_WITHOUT_MISTAKE
    os_log_with_type(log, OS_LOG_TYPE_INFO, "attempt %d", attempt);
#else
    os_log_with_type(log, OS_LOG_TYPE_INFO, "attempt %s", attempt);
#endif
}
