#include "vlvalidate/VLLiveServer.h"

#include <httplib.h>

#include <mutex>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "Choice/VLProviderChoice.h"
#include "Choice/VLUsageError.h"
#include "vlvalidate/VLJsonInput.h"
#include "vlvalidate/VLLiveEventLog.h"
#include "vlvalidate/VLLiveGuard.h"
#include "vlvalidate/VLLiveSession.h"
#include "vlvalidate/VLReporterRegistry.h"
#include "vlvalidate/VLWebAssets.h"

namespace {

// What every response says about where its page may load from and send to: only this server.
const httplib::Headers& defaultHeaders() {
  static const httplib::Headers headers = {
      {"Content-Security-Policy",
       "default-src 'self'; connect-src 'self'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
       "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
      {"X-Content-Type-Options", "nosniff"},
      {"Referrer-Policy", "no-referrer"},
      {"Cache-Control", "no-store"},
  };
  return headers;
}

// How long an event stream waits for the next event before it sends a comment, which also
// finds out that a page has gone.
constexpr std::chrono::seconds kStreamIdle{5};

std::optional<std::string> header(const httplib::Request& request, const char* name) {
  if (!request.has_header(name)) return std::nullopt;
  return request.get_header_value(name);
}

// At most this much of a text that came from a request goes back in a reply.
constexpr size_t kEchoed = 200;

std::string excerpt(const std::string& text) {
  return text.size() <= kEchoed ? text : text.substr(0, kEchoed) + "… (" + std::to_string(text.size()) + " bytes)";
}

// The bearer of a request, for the guard.
std::optional<std::string> authorization(const httplib::Request& request) {
  return request.has_header("Authorization") ? std::optional(request.get_header_value("Authorization")) : std::nullopt;
}

void answerJson(httplib::Response& response, int status, const nlohmann::json& body) {
  response.status = status;
  response.set_content(body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), "application/json");
}

void answerReply(httplib::Response& response, const VLLiveSession::Reply& reply) {
  if (reply.error.empty()) return answerJson(response, reply.status, {{"ok", true}});
  answerJson(response, reply.status, {{"error", excerpt(reply.error)}});
}

void answerAsset(httplib::Response& response, const std::string& name) {
  const auto* asset = VLWebAssets::find(name);
  if (!asset) {
    response.status = 404;
    return response.set_content("no such file: " + excerpt(name) + "\n", "text/plain; charset=utf-8");
  }
  response.set_content(std::string(asset->content), std::string(VLWebAssets::contentType(name)));
}

// Why a page may not run `choice`, or none when it may: a provider in this process (the
// simulated one with any quirks), and the other choices the command line named (the same
// words, however quoted). A token opens a page, not a shell.
std::optional<std::string> refusalOf(const VLProviderChoice& choice, const std::vector<VLProviderChoice>& allowed) {
  if (choice.kind().inProcess) return std::nullopt;
  for (const auto& each : allowed) {
    if (each == choice) return std::nullopt;
  }
  return "This server does not run " + excerpt(choice.text()) + ": a page runs the simulated provider and the " +
         "providers named on serve's command line. Start vlvalidate serve with --provider '" + excerpt(choice.text()) +
         "' to allow it.";
}

}  // namespace

struct VLLiveServer::Parts {
  Options options;
  httplib::Server http;
  int port = 0;
  std::optional<VLLiveGuard> guard;
  std::shared_ptr<VLLiveEventLog> events = std::make_shared<VLLiveEventLog>();
  std::unique_ptr<VLLiveSession> session;  // made by make(), with the options
  std::mutex stopping;     // orders stop() against the start of listening
  bool listening = false;  // guarded by stopping
  bool stopped = false;    // guarded by stopping
};

std::unique_ptr<VLLiveServer> VLLiveServer::make(const Options& options) {
  auto parts = std::make_unique<Parts>();
  parts->options = options;
  parts->session = std::make_unique<VLLiveSession>(parts->events, options.handshakeTimeout);
  if (options.port < 0 || options.port > 65535) {
    throw VLUsageError("--port must be 0 to 65535, not " + std::to_string(options.port));
  }
  errno = 0;
  parts->port = options.port == 0 ? parts->http.bind_to_any_port(options.address)
                                  : (parts->http.bind_to_port(options.address, options.port) ? options.port : -1);
  if (parts->port <= 0) {
    throw VLUsageError("cannot listen on " + options.address + " port " + std::to_string(options.port) +
                       (errno ? std::string(": ") + std::strerror(errno) : std::string()));
  }
  const std::string token = options.token.empty() ? VLLiveGuard::freshToken() : options.token;
  parts->guard.emplace(options.address, parts->port, token);
  if (parts->options.providers.empty()) parts->options.providers.push_back(VLProviderChoice::parse("sim"));
  std::unique_ptr<VLLiveServer> server(new VLLiveServer(std::move(parts)));
  server->addRoutes();
  return server;
}

VLLiveServer::VLLiveServer(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) {}

VLLiveServer::~VLLiveServer() {
  stop();
  parts_->session->shutdown();
}

int VLLiveServer::port() const { return parts_->port; }

const std::string& VLLiveServer::token() const { return parts_->guard->token(); }

std::string VLLiveServer::url() const {
  std::string host = parts_->options.address;
  if (host == "0.0.0.0" || host == "::") host = "127.0.0.1";
  if (host.find(':') != std::string::npos) host = "[" + host + "]";
  return "http://" + host + ":" + std::to_string(parts_->port) + "/?token=" + token();
}

void VLLiveServer::serve() {
  parts_->http.listen_after_bind();
  parts_->session->shutdown();
}

void VLLiveServer::stop() {
  parts_->events->close();
  std::lock_guard<std::mutex> lock(parts_->stopping);
  parts_->stopped = true;
  // Before listening has begun the server ignores stop(); the start of listening stops it then.
  if (parts_->listening) parts_->http.stop();
}

void VLLiveServer::addRoutes() {
  Parts& parts = *parts_;
  httplib::Server& http = parts.http;
  // Called as listening begins. Streams hold a thread each while open; a page or two, plus
  // their other requests. The rest stand against clients that send their requests slowly:
  // each holds a worker until the read time-out below, and there must be many of them to
  // hold every one.
  http.new_task_queue = [&parts] {
    std::lock_guard<std::mutex> lock(parts.stopping);
    parts.listening = true;
    if (parts.stopped) parts.http.stop();
    return new httplib::ThreadPool(64);
  };
  // A client that stops sending its request holds a worker only this long.
  http.set_read_timeout(kReadTimeoutSeconds, 0);
  http.set_write_timeout(kReadTimeoutSeconds * 5, 0);
  http.set_payload_max_length(kLargestBody);
  // An idle connection would hold up stop() this long.
  http.set_keep_alive_timeout(1);
  // Events are small writes: without this, Nagle's algorithm holds each for the previous ACK.
  http.set_tcp_nodelay(true);
  http.set_default_headers(defaultHeaders());

  http.set_pre_routing_handler([&parts](const httplib::Request& request, httplib::Response& response) {
    const auto decision = parts.guard->check({.path = request.path,
                                              .host = header(request, "Host"),
                                              .origin = header(request, "Origin"),
                                              .authorization = authorization(request)});
    if (decision.status != 200) {
      response.status = decision.status;
      response.set_content(decision.reason + "\n", "text/plain; charset=utf-8");
      return httplib::Server::HandlerResponse::Handled;
    }
    // A cross-site form cannot send JSON without asking first, so the API takes JSON only.
    if (request.method == "POST" && header(request, "Content-Type").value_or("").rfind("application/json", 0) != 0) {
      answerJson(response, 415, {{"error", "requests to the API must be JSON (Content-Type: application/json)"}});
      return httplib::Server::HandlerResponse::Handled;
    }
    return httplib::Server::HandlerResponse::Unhandled;
  });

  http.Get("/", [](const httplib::Request&, httplib::Response& response) { answerAsset(response, "live.html"); });
  http.Get(R"(/([a-z][a-z-]*\.(html|css|js)))", [](const httplib::Request& request, httplib::Response& response) {
    answerAsset(response, request.matches[1]);
  });
  http.Post(VLLiveGuard::kSessionPath, [&parts](const httplib::Request& request, httplib::Response& response) {
    std::string token;
    try {
      const auto body = VLJsonInput::parse(request.body, "the request");
      if (body.is_object() && body.contains("token") && body["token"].is_string()) token = body["token"];
    } catch (const VLException&) {
    }
    auto session = parts.guard->openSession(token);
    if (!session) {
      return answerJson(response, 401,
                        {{"error", "This address has been used already (or its token is wrong): it opens one page "
                                   "once. Restart vlvalidate serve for a new one."}});
    }
    answerJson(response, 200, {{"session", *session}});
  });
  http.Get("/api/choices", [&parts](const httplib::Request&, httplib::Response& response) {
    response.set_content(VLLiveSession::choicesJson(parts.options.providers), "application/json");
  });
  http.Post("/api/run", [&parts](const httplib::Request& request, httplib::Response& response) {
    try {
      const auto run = VLLiveRunRequest::parse(request.body);
      if (auto refusal = refusalOf(run.provider, parts.options.providers)) return answerJson(response, 403, {{"error", *refusal}});
      answerReply(response, parts.session->start(run));
    } catch (const VLException& error) {
      answerJson(response, 400, {{"error", excerpt(error.what())}});
    }
  });
  http.Post("/api/rerun", [&parts](const httplib::Request& request, httplib::Response& response) {
    nlohmann::ordered_json body;
    try {
      body = VLJsonInput::parse(request.body, "the request");
    } catch (const VLException& error) {
      return answerJson(response, 400, {{"error", excerpt(error.what())}});
    }
    if (!body.is_object() || !body.contains("id") || !body["id"].is_string()) {
      return answerJson(response, 400, {{"error", "a re-run names its case: {\"id\": \"Suite.BaseName\"}"}});
    }
    answerReply(response, parts.session->rerun(body["id"].get<std::string>()));
  });
  http.Post("/api/stop", [&parts](const httplib::Request&, httplib::Response& response) {
    answerReply(response, parts.session->stop());
  });

  http.Get("/api/events", [&parts](const httplib::Request& request, httplib::Response& response) {
    // A page that reconnects says what it last had, and gets only what came after.
    uint64_t after = 0;
    if (auto last = header(request, "Last-Event-ID")) after = std::strtoull(last->c_str(), nullptr, 10);
    auto events = parts.events;
    response.set_chunked_content_provider(
        "text/event-stream", [events, after](size_t, httplib::DataSink& sink) mutable {
          const auto batch = events->waitAfter(after, kStreamIdle);
          if (events->isClosed()) {
            sink.done();
            return true;
          }
          if (batch.empty()) return sink.write(": idle\n\n", 8);
          std::string text;
          for (const auto& event : batch) text += VLLiveEventLog::frame(event);
          after = batch.back().id;
          return sink.write(text.data(), text.size());
        });
  });

  // One download per file reporter, by its extension.
  http.Get(R"(/api/report\.([a-z]+))", [&parts](const httplib::Request& request, httplib::Response& response) {
    const auto* row = VLReporterRegistry::rowForExtension(request.matches[1]);
    if (!row) return answerJson(response, 404, {{"error", "No report is named so."}});
    auto document = parts.session->report(row->name);
    if (!document) return answerJson(response, 404, {{"error", "There is no run yet: start one first."}});
    response.set_header("Content-Disposition", "attachment; filename=\"" + row->downloadName + "\"");
    response.set_content(*document, row->mediaType);
  });
}
