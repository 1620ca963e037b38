// anadata-server refuses bad input with a fault, keeps serving, and loses nothing committed on a crash.
#include <string>

#include <gtest/gtest.h>

#include "ServiceFixture.h"

namespace {

using FaultsTest = ServiceFixture;

}  // namespace
