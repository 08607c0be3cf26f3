// Makes one allocation fail, the n-th of its kind from now on, and counts what is still allocated.
//
//   const FailingAllocator::Armed armed(AllocationKind::kXml, n);
//   ... what is under test ...
//   armed.fired();   // whether there was an n-th one
//
// Only for programs that are linked with --wrap for calloc, free and _strcpy_s_chk, and that
// install the hooks first thing in main. One thread only.
#ifndef TESTS_SUPPORT_FAILING_ALLOCATOR_H_
#define TESTS_SUPPORT_FAILING_ALLOCATOR_H_

namespace nexa_test {

enum class AllocationKind {
  kBuffer,        // calloc in the library's own code: the buffer of a checked copy
  kCopy,          // strcpy_s: no allocation, but it fails in the same places
  kXml,           // libxml2
  kNew,           // operator new, which throws std::bad_alloc
  kNewFromThere,  // the same, the n-th and all that follow
};

class FailingAllocator {
 public:
  // Before anything else uses libxml2.
  static void install();

  // What is allocated now: buffers of checked copies and memory of libxml2.
  static int live();

  // Nothing fails any more: what follows only looks at what came out.
  static void disarm();

  class Armed {
   public:
    Armed(AllocationKind kind, int n);
    ~Armed();
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;

    bool fired() const;
  };
};

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_FAILING_ALLOCATOR_H_
