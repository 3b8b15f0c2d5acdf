#include "tools/kor/ViewServer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <string_view>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>

#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <fmt/format.h>

#include "platform/Process.h"
#include "tools/kor/Exit.h"
#include "tools/kor/ViewMessages.h"

namespace kor::tool {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using std::chrono::milliseconds;
using std::chrono::seconds;
using ErrorCode = boost::system::error_code;

// Pictures of a live page follow each other as fast as rows do that a person can tell apart.
constexpr milliseconds kBetweenMessages(40);
constexpr milliseconds kBetweenRetries(200);

// What the system holds for a viewer that does not read, so that it is seen early to be slow.
constexpr int kSystemBuffer = 256 * 1024;

constexpr const char* kPolicy = "frame-ancestors 'none'";

// Whether a header's value names this server.
bool isOwnName(std::string_view value, std::uint16_t port)
{
    for (const std::string_view name : {"127.0.0.1", "localhost"}) {
        if (value == fmt::format("{}:{}", name, port) || (port == 80 && value == name)) {
            return true;
        }
    }
    return false;
}

bool isOwnOrigin(std::string_view value, std::uint16_t port)
{
    constexpr std::string_view kScheme = "http://";
    return value.starts_with(kScheme) && isOwnName(value.substr(kScheme.size()), port);
}

std::string_view viewOf(beast::string_view text)
{
    return {text.data(), text.size()};
}

} // namespace

class ViewServer::Listener {
public:
    Listener(std::uint16_t port, std::string page, const ViewHistory& history, ViewPatience patience);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    std::uint16_t port() const { return m_port; }
    unsigned viewers() const { return m_viewers.load(); }

private:
    class Connection;

    void accept();
    void work();

    const std::string m_page;
    const ViewHistory& m_history;
    const ViewPatience m_patience;
    std::uint16_t m_port = 0;
    std::size_t m_connections = 0;      // of the server's thread alone
    std::atomic<unsigned> m_viewers{0}; // changed by the server's thread alone
    asio::io_context m_context{1};      // holds connections, which count themselves, to its end
    tcp::acceptor m_acceptor{m_context};
    asio::steady_timer m_retry{m_context};
    std::jthread m_thread;
};

// One connection, from its request to the end of the answer.
class ViewServer::Listener::Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(tcp::socket socket, Listener& listener)
        : m_stream(std::move(socket)), m_timer(listener.m_context), m_listener(listener), m_messages(listener.m_history)
    {
        ++m_listener.m_connections;
    }

    ~Connection()
    {
        --m_listener.m_connections;
        endViewing();
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void start()
    {
        m_parser.header_limit(kMostRequestBytes);
        m_stream.expires_after(m_listener.m_patience.request);
        http::async_read_header(
            m_stream, m_buffer, m_parser,
            [self = shared_from_this()](const ErrorCode& error, std::size_t) { self->answer(error); });
    }

private:
    using Status = http::status;

    // A body is not even read.
    void answer(const ErrorCode& error)
    {
        if (error == http::error::header_limit || error == http::error::buffer_overflow) {
            refuse(Status::request_header_fields_too_large, "The request is too long.");
        } else if (error == http::error::body_limit) {
            refuse(Status::payload_too_large, "A request has no body here.");
        } else if (error.category() == http::make_error_code(http::error::end_of_stream).category() &&
                   error != http::error::end_of_stream && error != http::error::partial_message) {
            refuse(Status::bad_request, "This is not an HTTP request.");
        } else if (!error) {
            answer();
        }
    }

    void answer()
    {
        const auto& request = m_parser.get();
        const std::string_view path = viewOf(request.target());
        if (!isForThisServer()) {
            refuse(Status::forbidden, "Host or Origin of the request is not this server.");
        } else if (request.method() != http::verb::get) {
            refuse(Status::method_not_allowed, "Only GET is answered.");
        } else if (m_parser.chunked() || m_parser.content_length().value_or(0) > 0) {
            refuse(Status::payload_too_large, "A request has no body here.");
        } else if (path == "/") {
            auto response = makeResponse(Status::ok, "text/html; charset=utf-8");
            response.set("Content-Security-Policy", kPolicy);
            response.body() = m_listener.m_page;
            send(std::move(response));
        } else if (path != "/rows") {
            refuse(Status::not_found, "There is nothing of this name; the page is /.");
        } else if (m_listener.m_viewers.load() >= kMostViewers) {
            refuse(Status::service_unavailable, "There are too many viewers already.");
        } else {
            stream();
        }
    }

    // A page of somebody else that makes a browser ask here gives itself away by these headers: Host, when its own name
    // has been led to this address, and Origin or Sec-Fetch-Site otherwise.
    bool isForThisServer() const
    {
        const auto& request = m_parser.get();
        const std::uint16_t port = m_listener.m_port;
        const auto all = [&request](http::field name, const auto& isRight) {
            const auto [first, last] = request.equal_range(name);
            return std::all_of(first, last, [&](const auto& field) { return isRight(viewOf(field.value())); });
        };
        if (request.count(http::field::host) != 1) {
            return false;
        }
        if (!all(http::field::host, [port](std::string_view value) { return isOwnName(value, port); }) ||
            !all(http::field::origin, [port](std::string_view value) { return isOwnOrigin(value, port); })) {
            return false;
        }
        // A link on another page may lead to this one.
        const auto site = request.find("Sec-Fetch-Site");
        return request.target() == "/" || site == request.end() || site->value() == "same-origin" ||
               site->value() == "none";
    }

    static http::response<http::string_body> makeResponse(Status status, std::string_view type)
    {
        http::response<http::string_body> response(status, 11);
        response.set(http::field::content_type, beast::string_view(type.data(), type.size()));
        response.set(http::field::cache_control, "no-store");
        response.set("X-Content-Type-Options", "nosniff");
        response.set("Cross-Origin-Resource-Policy", "same-origin");
        response.keep_alive(false);
        return response;
    }

    void refuse(Status status, std::string_view text)
    {
        auto response = makeResponse(status, "text/plain; charset=utf-8");
        if (status == Status::method_not_allowed) {
            response.set(http::field::allow, "GET");
        }
        response.body() = text;
        response.body() += '\n';
        send(std::move(response));
    }

    void send(http::response<http::string_body> response)
    {
        m_response = std::move(response);
        m_response.prepare_payload();
        m_stream.expires_after(m_listener.m_patience.answer);
        http::async_write(m_stream, m_response, [self = shared_from_this()](const ErrorCode& error, std::size_t) {
            if (!error) {
                self->close();
            }
        });
    }

    // The end of an answer. What a client has sent beyond its request is read away for a moment: the system would tell
    // it that the connection is broken, and the answer might be lost.
    void close()
    {
        ErrorCode ignored;
        m_stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
        m_stream.expires_after(seconds(1));
        readAway();
    }

    void readAway()
    {
        constexpr std::size_t kMostReadAway = 64 * 1024;
        m_stream.async_read_some(asio::buffer(m_away),
                                 [self = shared_from_this()](const ErrorCode& error, std::size_t count) {
                                     self->m_readAway += count;
                                     if (!error && self->m_readAway < kMostReadAway) {
                                         self->readAway();
                                     }
                                 });
    }

    // A viewer says nothing more; it is read from only to see it go.
    void watch()
    {
        m_stream.expires_never();
        m_stream.async_read_some(asio::buffer(m_away), [self = shared_from_this()](const ErrorCode&, std::size_t) {
            ErrorCode ignored;
            self->m_isGone = true;
            self->m_timer.cancel();
            self->m_stream.socket().close(ignored);
        });
    }

    void stream()
    {
        m_isViewer = true;
        ++m_listener.m_viewers;
        m_message = "HTTP/1.1 200 OK\r\n"
                    "Content-Type: text/event-stream\r\n"
                    "Cache-Control: no-store\r\n"
                    "X-Content-Type-Options: nosniff\r\n"
                    "Cross-Origin-Resource-Policy: same-origin\r\n"
                    "Connection: close\r\n\r\n"
                    "retry: 1000\n\n";
        watch();
        sendMessage();
    }

    void endViewing()
    {
        if (std::exchange(m_isViewer, false)) {
            --m_listener.m_viewers;
        }
    }

    void sendMessage()
    {
        m_stream.expires_after(m_listener.m_patience.answer);
        asio::async_write(m_stream, asio::buffer(m_message),
                          [self = shared_from_this()](const ErrorCode& error, std::size_t) {
                              if (error) {
                                  self->leave();
                              } else if (self->m_messages.areOver()) {
                                  ErrorCode ignored;
                                  self->m_stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
                                  self->endViewing();
                                  self->leaveSoon();
                              } else {
                                  self->wait();
                              }
                          });
    }

    void wait()
    {
        m_timer.expires_after(kBetweenMessages);
        m_timer.async_wait([self = shared_from_this()](const ErrorCode& error) {
            if (error || self->m_isGone) {
                return;
            }
            self->m_message = self->m_messages.next();
            if (self->m_message.empty()) {
                self->wait();
            } else {
                self->sendMessage();
            }
        });
    }

    // The viewer has everything, and closes; if it does not, it is closed.
    void leaveSoon()
    {
        m_timer.expires_after(seconds(2));
        m_timer.async_wait([self = shared_from_this()](const ErrorCode&) { self->leave(); });
    }

    // Ends the read that waits for the viewer to go, and with it the connection.
    void leave()
    {
        ErrorCode ignored;
        m_stream.socket().close(ignored);
    }

    beast::tcp_stream m_stream;
    asio::steady_timer m_timer;
    Listener& m_listener;
    ViewMessages m_messages;
    beast::flat_buffer m_buffer{2 * kMostRequestBytes};
    http::request_parser<http::empty_body> m_parser;
    http::response<http::string_body> m_response;
    std::string m_message;
    std::array<char, 1024> m_away{};
    std::size_t m_readAway = 0;
    bool m_isViewer = false;
    bool m_isGone = false;
};

ViewServer::Listener::Listener(std::uint16_t port, std::string page, const ViewHistory& history, ViewPatience patience)
    : m_page(std::move(page)), m_history(history), m_patience(patience)
{
    ErrorCode error;
    const tcp::endpoint here(asio::ip::address_v4::loopback(), port);
    m_acceptor.open(here.protocol(), error);
    // Connections of an earlier run that the system has not forgotten yet are no obstacle. Where a socket is not a file
    // descriptor, the same option would let two programs listen at a time.
    if (!error && std::is_same_v<tcp::acceptor::native_handle_type, int>) {
        m_acceptor.set_option(asio::socket_base::reuse_address(true), error);
    }
    if (!error) {
        m_acceptor.bind(here, error);
    }
    if (!error) {
        m_acceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    if (error == asio::error::address_in_use) {
        throw Failure(kExitUnavailable, fmt::format("--view-port {}: another program listens on this port; without the "
                                                    "option a free one is taken",
                                                    port));
    }
    if (error) {
        throw Failure(kExitUnavailable,
                      fmt::format("--view: cannot listen on 127.0.0.1:{}: {}", port, error.message()));
    }
    m_port = m_acceptor.local_endpoint().port();
    accept();
    // Ending signals are for the thread that replays: this one begins with them blocked.
    const platform::EndingSignalsWait signalsAreOthers;
    m_thread = std::jthread([this] { work(); });
}

ViewServer::Listener::~Listener()
{
    m_context.stop();
    m_thread.join();
}

void ViewServer::Listener::work()
{
    for (;;) {
        try {
            m_context.run();
            return;
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
            // There is no memory for an answer: its connection has gone with the handler.
        }
    }
}

void ViewServer::Listener::accept()
{
    m_acceptor.async_accept([this](const ErrorCode& error, tcp::socket socket) {
        if (error) { // too many open files, for example
            m_retry.expires_after(kBetweenRetries);
            m_retry.async_wait([this](const ErrorCode&) { accept(); });
            return;
        }
        accept();
        ErrorCode ignored;
        socket.set_option(asio::socket_base::send_buffer_size(kSystemBuffer), ignored);
        socket.set_option(tcp::no_delay(true), ignored);
        if (m_connections < kMostConnections) {
            std::make_shared<Connection>(std::move(socket), *this)->start();
        }
    });
}

ViewServer::ViewServer(std::uint16_t port, std::string page, const ViewHistory& history, ViewPatience patience)
{
    const auto fail = [](const std::string& reason) {
        throw Failure(kExitUnavailable, fmt::format("--view: cannot serve the page: {}", reason));
    };
    try {
        m_listener = std::make_unique<Listener>(port, std::move(page), history, patience);
    } catch (const boost::system::system_error& error) { // no descriptor is free, for example
        fail(error.code().message());
    } catch (const std::system_error& error) { // nor a thread
        fail(error.code().message());
    }
}

ViewServer::~ViewServer() = default;

std::uint16_t ViewServer::port() const
{
    return m_listener->port();
}

std::string ViewServer::address() const
{
    return fmt::format("http://127.0.0.1:{}/", port());
}

void ViewServer::letViewersFinish(milliseconds most) const
{
    const auto end = std::chrono::steady_clock::now() + most;
    while (m_listener->viewers() > 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(milliseconds(10));
    }
}

} // namespace kor::tool
