// The object system: reference-counted values, collections, property lists, plug-in instances.
#pragma once

// IWYU pragma: begin_exports
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFPlugIn.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFUUID.h>
// IWYU pragma: end_exports
