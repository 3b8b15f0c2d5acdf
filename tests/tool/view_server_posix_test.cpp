// How the server of a view treats those who keep it waiting.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "recordings/Columns.h"
#include "tools/kor/ViewHistory.h"
#include "tools/kor/ViewServer.h"

namespace {

using kor::recordings::kResultColumns;
using kor::recordings::Result;
using kor::tool::ViewHistory;
using kor::tool::ViewPatience;
using kor::tool::ViewServer;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// A machine with much else to do makes everything late, but never early.
constexpr milliseconds kLong(20'000);

class Client {
public:
    // Holds little of what it has not read, so that the server soon has to wait for it.
    explicit Client(std::uint16_t port) : m_socket(::socket(AF_INET, SOCK_STREAM, 0))
    {
        const int room = 4096;
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
        const timeval patience = {kLong.count() / 1000, 0};
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_isConnected = ::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~Client() { ::close(m_socket); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool isConnected() const { return m_isConnected; }
    void send(const std::string& text) const { ::send(m_socket, text.data(), text.size(), MSG_NOSIGNAL); }

    // Bytes of the answer up to the first `wanted`, or to its end however that comes.
    std::string receive(std::size_t wanted) const
    {
        std::string all;
        std::vector<char> part(64 * 1024);
        while (all.size() < wanted) {
            const ssize_t got = ::recv(m_socket, part.data(), part.size(), 0);
            if (got <= 0) {
                break;
            }
            all.append(part.data(), static_cast<std::size_t>(got));
        }
        return all;
    }

    std::string receiveUntil(const std::string& text) const
    {
        std::string all;
        while (all.find(text) == std::string::npos) {
            const std::string more = receive(1);
            if (more.empty()) {
                break;
            }
            all += more;
        }
        return all;
    }

private:
    int m_socket;
    bool m_isConnected = false;
};

std::string requestOf(const std::string& path, std::uint16_t port)
{
    return "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n";
}

constexpr std::size_t kPageBytes = 8'000'000; // more than the system holds for a connection

class Server : public testing::Test {
protected:
    void start(ViewPatience patience)
    {
        m_server = std::make_unique<ViewServer>(std::uint16_t{0}, std::string(kPageBytes, 'p'), m_history, patience);
    }

    void addRows(std::size_t count) { m_history.add(std::vector<Result>(count)); }

    static std::vector<const kor::recordings::Column*> everyColumn()
    {
        std::vector<const kor::recordings::Column*> columns;
        for (const kor::recordings::Column& column : kResultColumns) {
            columns.push_back(&column);
        }
        return columns;
    }

    ViewHistory m_history{{everyColumn(), {{0, false}}}, "run"};
    std::unique_ptr<ViewServer> m_server;
};

TEST_F(Server, endsAConnectionWhoseRequestDoesNotComeToItsEnd)
{
    start({.request = milliseconds(100)});
    const auto begun = Clock::now();
    const Client silent(m_server->port());
    const Client halfway(m_server->port());
    ASSERT_TRUE(silent.isConnected() && halfway.isConnected());
    halfway.send("GET / HTTP/1.1\r\nHost: 127.0");
    std::thread drop([&halfway] { // word by word is not a request either
        for (int i = 0; i < 100; ++i) {
            halfway.send("x");
            std::this_thread::sleep_for(milliseconds(10));
        }
    });
    EXPECT_EQ(silent.receive(1), "");
    EXPECT_EQ(halfway.receive(1), "");
    const auto took = Clock::now() - begun;
    drop.join();
    EXPECT_GE(took, milliseconds(100));
    EXPECT_LT(took, kLong);
}

TEST_F(Server, givesUpWhoDoesNotTakeAnAnswer)
{
    start({.answer = milliseconds(200)});
    addRows(ViewHistory::kNewest); // megabytes of text
    const Client page(m_server->port());
    const Client viewer(m_server->port());
    page.send(requestOf("/", m_server->port()));
    viewer.send(requestOf("/rows", m_server->port()));
    EXPECT_NE(viewer.receiveUntil("event: snapshot").find("200 OK"), std::string::npos);
    const auto begun = Clock::now();
    m_server->letViewersFinish(kLong);
    const auto took = Clock::now() - begun;
    EXPECT_GE(took, milliseconds(150)) << "the message was under way for a moment already";
    EXPECT_LT(took, kLong);
    EXPECT_LT(page.receive(2 * kPageBytes).size(), kPageBytes);
    EXPECT_EQ(viewer.receiveUntil("event: rows").find("event: state"), std::string::npos) << "cut off in the snapshot";
}

TEST_F(Server, keepsAViewerForWhomThereIsNothing)
{
    start({.request = milliseconds(50), .answer = milliseconds(50)});
    const Client viewer(m_server->port());
    viewer.send(requestOf("/rows", m_server->port()));
    viewer.receiveUntil("event: state");
    std::this_thread::sleep_for(milliseconds(300));
    addRows(1);
    EXPECT_NE(viewer.receiveUntil("event: rows").find("event: rows"), std::string::npos);
}

TEST_F(Server, closesEverythingWhenItGoes)
{
    start({});
    const Client silent(m_server->port());
    const Client viewer(m_server->port());
    viewer.send(requestOf("/rows", m_server->port()));
    viewer.receiveUntil("event: state");
    const auto begun = Clock::now();
    m_server.reset();
    EXPECT_EQ(silent.receive(1), "");
    EXPECT_EQ(viewer.receive(1), "");
    EXPECT_LT(Clock::now() - begun, kLong);
}

} // namespace
