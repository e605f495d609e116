// The second bundle in the file of the bundle "test_pair", which the file's manifest does not name.
#undef US_BUNDLE_NAME
#define US_BUNDLE_NAME test_pair_second
#include "pair.cpp"
