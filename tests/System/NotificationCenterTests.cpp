#include "KQFoundation/System/NotificationCenter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using kq::Notification;
using kq::NotificationCenter;

TEST(NotificationCenter, ObserversMatchByNameAndSenderAndReceiveAllOnThePostingThread) {
    NotificationCenter center;
    int first = 0, second = 0;
    struct Case {
        const char* name;
        const void* sender;
    } observers[] = {{"Done", &first}, {"Done", nullptr}, {"", &first}, {"", nullptr}, {"Other", nullptr}};
    std::vector<int> counts(std::size(observers), 0);
    for (std::size_t i = 0; i < std::size(observers); ++i)
        center.addObserver(observers[i].name, observers[i].sender, [&counts, i](const Notification&) { ++counts[i]; });
    center.postNotification("Done", &first);   // all but "Other"
    center.postNotification("Done", &second);  // the any-sender ones of Done and any
    center.postNotification("Else");           // only any-name any-sender
    EXPECT_EQ(counts, (std::vector<int>{1, 2, 1, 3, 0}));

    int sender = 0;
    std::thread::id deliveredOn;
    Notification received;
    center.addObserver("Changed", nullptr, [&](const Notification& n) {
        deliveredOn = std::this_thread::get_id();
        received = n;
    });
    std::thread poster([&] { center.postNotification("Changed", &sender, kq::Dictionary{{"key", kq::Value(3)}}); });
    const std::thread::id posterId = poster.get_id();
    poster.join();
    EXPECT_EQ(std::tie(deliveredOn, received.name, received.object, received.userInfo),
              std::make_tuple(posterId, "Changed", &sender, kq::Dictionary{{"key", kq::Value(3)}}));
}

TEST(NotificationCenter, ChangesDuringDeliveryAreSafeAndRemovalCoversEveryRegistration) {
    NotificationCenter center;
    std::vector<std::string> calls;
    kq::NotificationObserverToken self, later;
    center.addObserver("N", nullptr, [&](const Notification&) {
        calls.push_back("remover");
        center.removeObserver(later);
        center.addObserver("N", nullptr, [&](const Notification&) { calls.push_back("added"); });
    });
    self = center.addObserver("N", nullptr, [&](const Notification&) {
        calls.push_back("self");
        center.removeObserver(self);
    });
    later = center.addObserver("N", nullptr, [&](const Notification&) { calls.push_back("later"); });
    center.postNotification("N");
    EXPECT_EQ(calls, (std::vector<std::string>{"remover", "self"}));
    calls.clear();
    center.postNotification("N");
    EXPECT_EQ(calls, (std::vector<std::string>{"remover", "added"}));

    int owner = 0, count = 0;
    center.addObserver(&owner, "A", nullptr, [&](const Notification&) { ++count; });
    center.addObserver(&owner, "B", nullptr, [&](const Notification&) { ++count; });
    EXPECT_TRUE(center.addObserver("A", nullptr, [&](const Notification&) { count += 10; }));
    EXPECT_FALSE(center.addObserver("A", nullptr, nullptr));
    center.removeObserver(&owner);
    center.removeObserver(kq::NotificationObserverToken{});
    center.postNotification("A");
    center.postNotification("B");
    EXPECT_EQ(count, 10);
}

TEST(NotificationCenter, ConcurrentPostsAndRegistrationsLoseNothing) {
    NotificationCenter center;
    std::atomic<int> delivered{0};
    center.addObserver("Tick", nullptr, [&](const Notification&) { ++delivered; });
    std::atomic<bool> stop{false};
    std::thread churn([&] {
        while (!stop) {
            auto token = center.addObserver("Tick", nullptr, [](const Notification&) {});
            center.removeObserver(token);
        }
    });
    std::vector<std::thread> posters;
    for (int t = 0; t < 8; ++t) {
        posters.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) center.postNotification("Tick");
        });
    }
    for (auto& poster : posters) poster.join();
    stop = true;
    churn.join();
    EXPECT_EQ(delivered, 8 * 2000);
}

}  // namespace
