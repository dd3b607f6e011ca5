// Nothing of its own: the program only exists for the headers compiled with it.
#include <gtest/gtest.h>
