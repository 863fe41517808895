#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <cstdint>
#include <string>

namespace marlet {

// An agent's side of one keep-alive connection: it blocks, and does nothing that would count into a measurement.
class LoopbackAgent {
public:
    explicit LoopbackAgent(uint16_t port) : socket(context) {
        socket.connect({boost::asio::ip::address_v4::loopback(), port});
        socket.set_option(boost::asio::ip::tcp::no_delay(true));
    }

    // One exchange whose answer has an unknown size.
    std::string ask(const std::string& request) {
        boost::asio::write(socket, boost::asio::buffer(request));
        std::string answer;
        size_t headSize = boost::asio::read_until(socket, boost::asio::dynamic_buffer(answer), "\r\n\r\n");
        size_t length = std::stoul(answer.substr(answer.find("Content-Length: ") + 16));
        size_t received = answer.size();
        answer.resize(headSize + length);
        boost::asio::read(socket, boost::asio::buffer(answer.data() + received, answer.size() - received));
        return answer;
    }

    // Seconds for `rounds` exchanges, one after the other, whose answers have this size.
    double exchange(const std::string& request, size_t answerSize, int rounds) {
        std::string answer(answerSize, '\0');
        auto start = std::chrono::steady_clock::now();
        for (int round = 0; round < rounds; ++round) {
            boost::asio::write(socket, boost::asio::buffer(request));
            boost::asio::read(socket, boost::asio::buffer(answer));
        }
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

private:
    boost::asio::io_context context;
    boost::asio::ip::tcp::socket socket;
};

}  // namespace marlet
