// The source that the tests' precompiled header needs, see tests.h. The function nexa_fast_tests in
// NexaTargets.cmake names the targets that read it.
#include "tests.h"
