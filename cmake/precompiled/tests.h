// What nearly every test reads: GoogleTest and what the units under test read.
#ifndef CMAKE_PRECOMPILED_TESTS_H_
#define CMAKE_PRECOMPILED_TESTS_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "messages.h"

#endif  // CMAKE_PRECOMPILED_TESTS_H_
