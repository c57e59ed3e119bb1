// Must fail the check: an object of another class where the SDK names one, here
// a dispatch queue where the notification centre takes an operation queue.
// Expected error: type 'NSOperationQueue * _Nullable' with an rvalue of type 'dispatch_queue_t'
#import <Foundation/Foundation.h>

id<NSObject> observe(NSNotificationName name) {
    return [NSNotificationCenter.defaultCenter addObserverForName:name
                                                           object:nil
#ifdef ZOR_WITHOUT_MISTAKE
                                                            queue:NSOperationQueue.mainQueue
#else
                                                            queue:dispatch_get_main_queue()
#endif
                                                       usingBlock:^(NSNotification*){
                                                       }];
}
