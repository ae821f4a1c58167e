#include "platform/tessel/ClientTransaction.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Tessel::ClientTransaction;

TEST(ClientTransaction, CallbacksRunAtTheEndInAscendingOrder) {
    std::vector<std::string> ran;
    int const first = 0;
    int const second = 0;
    {
        ClientTransaction transaction;
        ClientTransaction::onTransactionEnd(&first, 2, [&] { ran.push_back("first, order 2"); });
        ClientTransaction::onTransactionEnd(&second, 1, [&] { ran.push_back("second, order 1"); });
        ClientTransaction::onTransactionEnd(&second, 2, [&] { ran.push_back("second, order 2"); });
        EXPECT_TRUE(ran.empty()) << "nothing runs before the end";
    }
    EXPECT_EQ(ran, (std::vector<std::string>{"second, order 1", "first, order 2", "second, order 2"}));
}

TEST(ClientTransaction, OneEntryPerKeyAndOrderKeepsItsPlaceAndTheLastFunction) {
    std::vector<std::string> ran;
    int const a = 0;
    int const b = 0;
    {
        ClientTransaction transaction;
        ClientTransaction::onTransactionEnd(&a, 1, [&] { ran.push_back("a first"); });
        ClientTransaction::onTransactionEnd(&b, 1, [&] { ran.push_back("b"); });
        ClientTransaction::onTransactionEnd(&a, 1, [&] { ran.push_back("a again"); });
    }
    EXPECT_EQ(ran, (std::vector<std::string>{"a again", "b"}));
}

TEST(ClientTransaction, ClearingAKeyForgetsItsEntries) {
    int runs = 0;
    int const key = 0;
    {
        ClientTransaction transaction;
        ClientTransaction::onTransactionEnd(&key, 1, [&] { ++runs; });
        ClientTransaction::onTransactionEnd(&key, 2, [&] { ++runs; });
        ClientTransaction::clearTransactionEndCallback(&key);
    }
    EXPECT_EQ(runs, 0);
}

TEST(ClientTransaction, WithoutATransactionTheCallbackRunsAtOnce) {
    int runs = 0;
    int const key = 0;
    EXPECT_FALSE(ClientTransaction::isActive());
    ClientTransaction::onTransactionEnd(&key, 1, [&] { ++runs; });
    EXPECT_EQ(runs, 1);
}

TEST(ClientTransaction, ACallbackQueuedByACallbackRunsInTheSameEnd) {
    std::vector<std::string> ran;
    int const key = 0;
    {
        ClientTransaction transaction;
        ClientTransaction::onTransactionEnd(&key, 1, [&] {
            ran.push_back("outer");
            ClientTransaction::onTransactionEnd(&key, 1, [&] { ran.push_back("queued by it"); });
        });
    }
    EXPECT_EQ(ran, (std::vector<std::string>{"outer", "queued by it"}));
}
