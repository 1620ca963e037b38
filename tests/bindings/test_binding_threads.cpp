// The bindings' process-wide tables and the access settings used from several threads at once.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "anadata_c.h"
#include "clsAnaDataAccess.h"
#include "soapAnaData.h"

TEST(SharedTables, HandlesAndSettingsServeSeveralThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 200; ++i) {
                int record = -1, shot = 0;
                ASSERT_EQ(cAnaDataNew(&record, 1, 1), 0);
                cAnaDataSetShotNumber(record, i);
                cAnaDataGetShotnumber(record, &shot);
                EXPECT_EQ(shot, i);
                EXPECT_EQ(cAnaDataRelease(record), 0);

                int access = 1000 * t + i;  // each thread its own handles
                soapAnaDataAccessNew(&access, nullptr);
                qx::clsAnaDataAccess::userset(("user" + std::to_string(t)).c_str());
                EXPECT_EQ(soapAnaDataGetLimit(&access), 0);
                soapAnaDataAccessRelease(&access);
            }
        });
    for (auto& t : threads) t.join();
}
