// The typed error a session call throws; a test failure, and a stand-in error, when it throws none.
#ifndef ANADATA_TEST_SESSIONERROR_H
#define ANADATA_TEST_SESSIONERROR_H

#include <functional>

#include <gtest/gtest.h>

#include <anadata/session.h>

inline anadata::Error errorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const anadata::Error& e) {
        return e;
    }
    ADD_FAILURE() << "nothing thrown";
    return anadata::Error(anadata::ErrorCode::refused, "nothing thrown");
}

#endif
