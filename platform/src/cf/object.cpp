#include "cf/object.h"
