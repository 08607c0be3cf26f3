// Installs the hooks before libxml2 is used, then runs the tests.
#include <gtest/gtest.h>
#include <libxml/xmlerror.h>

#include "support/failing_allocator.h"
#include "support/xml_trees.h"

namespace {

// libxml2 reports each failed allocation on its own; the tests look at what the library makes of
// it.
void ignore(void* /*context*/, xmlErrorPtr /*error*/) {}

}  // namespace

int main(int argc, char** argv) {
  nexa_test::FailingAllocator::install();
  xmlSetStructuredErrorFunc(nullptr, &ignore);
  // What libxml2 makes once and keeps is made here, so that no test counts it.
  nexa_test::text_of(nexa_test::parse_xml("<a x=\"1\">&lt;</a>"));
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
