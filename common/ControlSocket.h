/*
 * Lines that other programs send, and the answers to them: a Unix socket whose clients are bounded
 * in number, in the length of their lines and in the time that they take to read an answer. A
 * thread of its own serves them; a lock guards what it shares with the others.
 */
#ifndef COMMON_CONTROLSOCKET_H
#define COMMON_CONTROLSOCKET_H

#include <poll.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Descriptor.h"

namespace quarlo {
inline namespace common {

class ControlSocket {
  public:
    using Client = std::uint64_t;
    struct News {
        Client client;
        /** A line without its end, or nothing when the client is gone. */
        std::optional<std::string> line;
    };

    static constexpr std::size_t mostClients = 8;
    static constexpr std::size_t longestLine = std::size_t{256} * 1024;

    /** Why that cannot be the path of a socket: empty, or for people. */
    static std::string problemWith(const std::string& path);

    /**
     * Makes the socket's file, for the user only. A socket that nobody listens on any more is
     * replaced, anything else left alone.
     * @param wake is called, on the socket's thread and under its lock, when there is news
     * @throws std::runtime_error with a text for the user
     */
    ControlSocket(const std::string& path, std::function<void()> wake);
    /** Ends all connections and removes the file. */
    ~ControlSocket();
    ControlSocket(const ControlSocket&) = delete;
    ControlSocket& operator=(const ControlSocket&) = delete;

    /** What came; of each client one line at a time, the next when that is answered. */
    std::vector<News> take();
    /** @param text one line, control characters are replaced; empty says nothing */
    void answer(Client client, const std::string& text);

  private:
    using Time = std::chrono::steady_clock::time_point;
    struct Connection {
        Descriptor socket;
        std::string received;
        std::string unsent;
        Time since{};            ///< when it began not to read
        bool isAsked = false;    ///< a line of it waits for its answer
        bool isReading = true;   ///< it may send more
        bool isLeaving = false;  ///< with what is unsent

        bool isHeard() const { return isReading && !isAsked; }
    };

    void open();
    void serve();
    std::vector<pollfd> watch(std::vector<Client>& clients);
    void accept();
    void exchange(Client client, Connection& connection, short events);
    static bool receive(Connection& connection);
    static bool send(Connection& connection);
    void passOn(Client client, Connection& connection);
    static void say(Connection& connection, const std::string& text);
    static void refuse(Connection& connection, const std::string& why);
    void remove(Client client);
    void notify() const;

    const std::string path;
    const std::function<void()> wake;
    const Descriptor event;
    Descriptor listener;
    struct stat made {};  ///< the socket's file as it was made
    std::atomic<bool> isStopping{false};

    std::mutex lock;
    std::map<Client, Connection> connections;  ///< guarded by the lock
    std::vector<News> news;                    ///< guarded by the lock
    Client latest = 0;                         ///< of the thread
    bool isShort = false;                      ///< of the thread: nothing can be accepted
    std::thread thread;
};

}  // namespace common
}  // namespace quarlo

#endif
