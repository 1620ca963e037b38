// Copies of one record made, assigned and dropped on several threads at once: the shared columns' counts.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "anadata.h"

TEST(SharedColumns, CopiesComeAndGoOnManyThreadsWithoutLosingTheNumbers) {
    const std::vector<double> x{1, 2, 3}, y{4, 5, 6};
    qx::AnaData original(1, 1);
    original.setDim(0, "x", "m", 3, x.data());
    original.setVal(0, "y", "V", 3, y.data());

    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&original] {
            qx::AnaData kept;
            for (int i = 0; i < 30000; ++i) {
                qx::AnaData copy(original);
                kept = copy;
                qx::AnaData other(kept);
                copy = other;
                if (copy.getValData(0)[2] != 6.0) ADD_FAILURE() << "numbers changed";
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(original.getDimData(0)[0], 1.0);
    EXPECT_EQ(original.getValData(0)[2], 6.0);
}
