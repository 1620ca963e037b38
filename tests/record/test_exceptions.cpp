// The error classes keep their message and are caught by their base type across the library boundary.
#include <gtest/gtest.h>

#include "clsException.h"

TEST(Exceptions, MessageSurvivesCatchByBase) {
    try {
        throw qx::AnaDataException("Invalid Dim Name");
    } catch (const qx::clsException& e) {
        EXPECT_EQ(e.getMessage(), "Invalid Dim Name");
        return;
    }
    FAIL() << "not caught as clsException";
}

TEST(Exceptions, DerivedKeepEmptyDetail) {
    qx::AnaDataException a("x");
    qx::DBException d("y");
    EXPECT_EQ(a.getDetail(), "");
    EXPECT_EQ(d.getMessage(), "y");
}
