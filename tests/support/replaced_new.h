// Replaces operator new of a program: a function of the program says which allocation fails. Link
// it to programs that are for nothing else, for all of their allocations come here.
#ifndef TESTS_SUPPORT_REPLACED_NEW_H_
#define TESTS_SUPPORT_REPLACED_NEW_H_

namespace nexa_test {

// Asked by each allocation of C++, on any thread; it allocates nothing itself. Before it is set
// none fails.
using NewFails = bool (*)();
void set_new_fails(NewFails fails);

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_REPLACED_NEW_H_
