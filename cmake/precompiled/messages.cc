// A target with a precompiled header needs a source of its own. What the header holds is in
// messages.h; the targets that read it are in NexaTargets.cmake's function nexa_fast_build.
#include "messages.h"
