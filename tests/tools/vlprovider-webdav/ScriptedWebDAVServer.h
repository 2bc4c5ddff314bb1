// ScriptedWebDAVServer: an HTTP server on 127.0.0.1 for the bridge's tests that answers each
// request as the test's script says. It is written on plain sockets because cpp-httplib
// refuses methods it does not know (PROPFIND, PROPPATCH, MKCOL, MOVE answer 400 there). A reply
// may also hold its answer until release() (a slow server) or close the connection unanswered.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class ScriptedWebDAVServer {
 public:
  struct Request {
    std::string method, path, body;
    std::map<std::string, std::string> headers;  // names lower-case
  };
  struct Reply {
    Reply(int status = 200, std::string body = "", bool drop = false, bool hold = false)
        : status(status), body(std::move(body)), drop(drop), hold(hold) {}
    int status = 200;
    std::string body;
    bool drop = false;  // close the connection without an answer
    bool hold = false;  // answer only after release()
  };
  using Script = std::function<Reply(const Request&)>;

  explicit ScriptedWebDAVServer(Script script) : script_(std::move(script)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET, address.sin_addr.s_addr = htonl(INADDR_LOOPBACK), address.sin_port = 0;
    ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(listener_, 16);
    socklen_t length = sizeof address;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~ScriptedWebDAVServer() {
    release();
    ::shutdown(listener_, SHUT_RDWR);  // wakes accept()
    thread_.join();
    ::close(listener_);
  }

  std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/dav/"; }
  // Lets every held reply be sent, now and later.
  void release() {
    std::lock_guard lock(mutex_);
    released_ = true;
    releasedChanged_.notify_all();
  }
  std::vector<Request> requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }
  std::vector<std::string> methods() const {
    std::vector<std::string> methods;
    for (const auto& request : requests()) methods.push_back(request.method);
    return methods;
  }

 private:
  void serve() {
    for (;;) {
      int connection = ::accept(listener_, nullptr, nullptr);
      if (connection < 0) return;
      answer(connection);
      ::close(connection);
    }
  }
  void answer(int connection) {
    std::string data;
    char buffer[4096];
    size_t headerEnd;
    while ((headerEnd = data.find("\r\n\r\n")) == std::string::npos) {
      ssize_t got = ::read(connection, buffer, sizeof buffer);
      if (got <= 0) return;
      data.append(buffer, static_cast<size_t>(got));
    }
    Request request;
    std::string head = data.substr(0, headerEnd);
    size_t lineEnd = head.find("\r\n");
    std::string first = head.substr(0, lineEnd);
    request.method = first.substr(0, first.find(' '));
    request.path = first.substr(first.find(' ') + 1, first.rfind(' ') - first.find(' ') - 1);
    for (size_t at = lineEnd; at != std::string::npos && at < head.size();) {
      size_t next = head.find("\r\n", at + 2);
      std::string line = head.substr(at + 2, next == std::string::npos ? std::string::npos : next - at - 2);
      if (auto colon = line.find(':'); colon != std::string::npos) {
        std::string name = line.substr(0, colon);
        for (auto& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        request.headers[name] = line.substr(line.find_first_not_of(' ', colon + 1));
      }
      at = next;
    }
    size_t length = request.headers.count("content-length") ? std::strtoul(request.headers["content-length"].c_str(), nullptr, 10) : 0;
    request.body = data.substr(headerEnd + 4);
    while (request.body.size() < length) {
      ssize_t got = ::read(connection, buffer, sizeof buffer);
      if (got <= 0) return;
      request.body.append(buffer, static_cast<size_t>(got));
    }
    {
      std::lock_guard lock(mutex_);
      requests_.push_back(request);
    }
    Reply reply = script_(request);
    if (reply.drop) return;
    if (reply.hold) {
      std::unique_lock lock(mutex_);
      releasedChanged_.wait(lock, [this] { return released_; });
    }
    std::string text = "HTTP/1.1 " + std::to_string(reply.status) + " Scripted\r\nContent-Length: " +
                       std::to_string(reply.body.size()) + "\r\nContent-Type: application/xml\r\nConnection: close\r\n\r\n" +
                       reply.body;
    for (size_t sent = 0; sent < text.size();) {
      ssize_t wrote = ::write(connection, text.data() + sent, text.size() - sent);
      if (wrote <= 0) return;
      sent += static_cast<size_t>(wrote);
    }
  }

  Script script_;
  int listener_ = -1;
  int port_ = 0;
  std::thread thread_;
  mutable std::mutex mutex_;
  std::condition_variable releasedChanged_;
  bool released_ = false;  // guarded by mutex_, as is requests_
  std::vector<Request> requests_;
};
