// Clients made and destroyed on several threads while the server delivers
// notices: no callback reaches a destroyed client (ASan and TSan watch the
// memory), and holders of old lists read them while new ones appear.
#include "toolkit/events/events_fixture.h"

#include <atomic>
#include <thread>
#include <vector>

using namespace evtest;

namespace {

// Counts its callbacks in memory of its own, freed with it.
class CountingClient : public QKClient
{
public:
    CountingClient(QKServer* server, std::atomic<long>* total) : QKClient(server), total_(total) { listen(); }
    ~CountingClient() override { unregister(); }
    void responseCallback(QKResponse response) override
    {
        *count_ += response.events_changed;
        total_->fetch_add(1);
    }

private:
    std::unique_ptr<long> count_ = std::make_unique<long>(0);
    std::atomic<long>* total_;
};

}  // namespace

TEST(ServerThreads, ClientsComeAndGoWhileTheServerDelivers)
{
    const std::string base = emptyDatabase();
    QKServer server(base, 1, 1, 5);
    std::atomic<bool> done{false};
    std::atomic<long> callbacks{0};
    std::atomic<long> lists_read{0};

    std::thread writer([&] {
        QKClient client(&server);
        for (long i = 1; i <= 60; i++) {
            const std::string o = makeRecord("origin", {{"orid", std::to_string(i)}, {"evid", std::to_string(i)},
                                                         {"time", std::to_string(1000 + i)}});
            const std::string e = makeRecord("event", {{"evid", std::to_string(i)}, {"prefor", std::to_string(i)}});
            EXPECT_GE(client.rsputrecord("origin", o.c_str(), -1), 0);
            EXPECT_GE(client.rsputrecord("event", e.c_str(), -1), 0);
            if (i % 10 == 0)
                client.checkDatabase();
        }
        done = true;
    });
    std::vector<std::thread> churn;
    for (int t = 0; t < 3; t++) {
        churn.emplace_back([&] {
            while (!done) {
                auto c = std::make_unique<CountingClient>(&server, &callbacks);
                std::this_thread::yield();
                // a reader holds a list while newer ones are published
                c->grabEventsLock();
                auto list = c->getEvents();
                c->releaseEventsLock();
                long sum = 0;
                for (long i = 0; i < list->max(); i++)
                    sum += list->get(i).evid;
                lists_read += sum >= 0;
                c.reset();
            }
        });
    }
    writer.join();
    for (std::thread& t : churn)
        t.join();
    QKClient last(&server);
    ASSERT_EQ(last.checkDatabase(), 0);
    EXPECT_EQ(last.getEvents()->max(), 60);
    EXPECT_GT(callbacks.load(), 0);
    EXPECT_GT(lists_read.load(), 0);
}
