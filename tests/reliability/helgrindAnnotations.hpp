// Tells valgrind's helgrind what the reference counts of std::shared_ptr order: it knows locks, but not
// atomic counts, and would take the last owner's destructor for a race with whatever another owner did
// before. Included ahead of everything by the preset `helgrind`; the macros are those that libstdc++ provides
// for this.
#ifndef TESTS_RELIABILITY_HELGRIND_ANNOTATIONS_HPP
#define TESTS_RELIABILITY_HELGRIND_ANNOTATIONS_HPP

#include <valgrind/helgrind.h>

#define _GLIBCXX_SYNCHRONIZATION_HAPPENS_BEFORE(count) ANNOTATE_HAPPENS_BEFORE(count)
#define _GLIBCXX_SYNCHRONIZATION_HAPPENS_AFTER(count) ANNOTATE_HAPPENS_AFTER(count)
// As with ThreadSanitizer, which cannot follow it either: no short way that releases both counts in one plain
// write.
#define _GLIBCXX_TSAN 1

#endif
