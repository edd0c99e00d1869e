// TallyStore, the analytics aggregation library: counters under scalar keys, samples under distribution keys. Nothing
// reports an error. [any thread]
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

void TSClientClearScalarKey(CFStringRef key);
void TSClientSetValueForScalarKey(CFStringRef key, int64_t value);
void TSClientAddValueForScalarKey(CFStringRef key, int64_t value);
void TSClientClearDistributionKey(CFStringRef key);
void TSClientSetValueForDistributionKey(CFStringRef key, double value);
void TSClientPushValueForDistributionKey(CFStringRef key, double value);

CF_EXTERN_C_END
