// What every test of tests/unit reads.
#include <gtest/gtest.h>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa/xpath_parser.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"
