// A bare TCP connection to a loopback port, for sending what no HTTP client would: garbage,
// truncated requests, lies about lengths. POSIX only, as the emulator is.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

namespace devkit_testing {

class RawConnection {
public:
    explicit RawConnection(int port) {
        m_socket = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_connected = connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~RawConnection() { Close(); }
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;

    bool Connected() const { return m_connected; }
    bool Send(const std::string& bytes) {
        return send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    // Ends the sending side and reads what comes back until the server closes.
    std::string FinishAndRead() {
        shutdown(m_socket, SHUT_WR);
        std::string answer;
        char buffer[4096];
        for (ssize_t got; (got = recv(m_socket, buffer, sizeof buffer, 0)) > 0;) {
            answer.append(buffer, static_cast<std::size_t>(got));
        }
        return answer;
    }
    void Close() {
        if (m_socket >= 0) {
            close(m_socket);
            m_socket = -1;
        }
    }

private:
    int m_socket = -1;
    bool m_connected = false;
};

} // namespace devkit_testing
