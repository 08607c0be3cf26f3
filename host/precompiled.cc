// A target with a precompiled header needs a source of its own.
#include "precompiled.h"
