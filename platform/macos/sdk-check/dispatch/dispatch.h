// Mirrors <dispatch/dispatch.h> (queue.h, object.h).
#pragma once
#include <os/availability.h>
#include <stdint.h>

typedef void (^dispatch_block_t)(void);

@protocol OS_dispatch_object
@end
@protocol OS_dispatch_queue <OS_dispatch_object>
@end
typedef id<OS_dispatch_queue> dispatch_queue_t;

typedef long dispatch_queue_priority_t;
typedef unsigned int qos_class_t;
#define QOS_CLASS_USER_INITIATED 0x19u

extern "C" {
// dispatch_get_main_queue() is a macro over this object in the SDK; a function
// with the documented type keeps every use checked.
dispatch_queue_t dispatch_get_main_queue(void) API_AVAILABLE(macos(10.6));
dispatch_queue_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags)
    API_AVAILABLE(macos(10.6));
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) API_AVAILABLE(macos(10.6));
}
