// VLRemoteMessage: one JSON-RPC 2.0 message of the provider protocol, parsed from one line
// or written as one line.
//
// parse() is the only place where outside bytes become messages: it checks the framing
// (size, nesting, JSON, the "jsonrpc" member, the shape of requests, notifications, results
// and errors) and throws VLRemoteMalformedMessage with a precise reason, carrying the
// message's id when it could still be recovered so that the request concerned can fail.
// A parsed message is a plain value.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "Core/VLException.h"
#include "Remote/VLRemoteJSONReader.h"
#include "Remote/VLRemoteStreamedItems.h"

// A line that is not a valid JSON-RPC 2.0 message of this protocol.
class VLRemoteMalformedMessage : public VLException {
 public:
  VLRemoteMalformedMessage(const std::string& reason, std::optional<int64_t> id, bool isJSON = true)
      : VLException(reason), id_(id), isJSON_(isJSON) {}
  // The integer id the line carried, when it could be recovered.
  const std::optional<int64_t>& id() const { return id_; }
  // Whether the line was JSON (within the length and depth limits) but no valid message:
  // an invalid request (-32600) rather than a parse error (-32700).
  bool isJSON() const { return isJSON_; }

 private:
  std::optional<int64_t> id_;
  bool isJSON_;
};

struct VLRemoteMessage {
  enum class Kind { Request, Notification, Result, Error };

  static constexpr size_t kMaximumLineLength = 16 * 1024 * 1024;
  static constexpr int kMaximumDepth = 64;

  Kind kind = Kind::Notification;
  nlohmann::json id;         // requests and answers: the id as sent (null for an error about no request)
  std::string method;        // requests and notifications
  nlohmann::json params;     // requests and notifications: an object
  nlohmann::json result;     // results: an object
  int64_t errorCode = 0;     // errors
  std::string errorMessage;  // errors
  nlohmann::json errorData;  // errors: the optional "data" member
  // The item lists decoded while parsing, when parse() was asked to (null otherwise).
  std::shared_ptr<VLRemoteStreamedItems> streamedItems;

  // Returns the id as an integer when it is one.
  std::optional<int64_t> integerID() const;
  // A reader of the result (results) or the params (others), which finds the streamed item lists.
  VLRemoteJSONReader body() const;

  // Parses one line (without its line feed; a trailing carriage return is allowed). With
  // `streamItems`, the item lists of results and params are decoded as the line is read
  // (VLRemoteStreamParser), for the host's side of the protocol, where they are large; the
  // messages it accepts and refuses are the same either way.
  static VLRemoteMessage parse(std::string_view line, bool streamItems = false);

  // Each returns one message as a line, with its line feed.
  static std::string requestLine(int64_t id, const std::string& method, const nlohmann::json& params);
  static std::string notificationLine(const std::string& method, const nlohmann::json& params);
  static std::string resultLine(const nlohmann::json& id, const nlohmann::json& result);
  static std::string errorLine(const nlohmann::json& id, int64_t code, const std::string& message,
                               const nlohmann::json& data = nullptr);
};

// JSON-RPC error codes used by the protocol.
enum : int64_t {
  VLRemoteParseError = -32700,
  VLRemoteInvalidRequest = -32600,
  VLRemoteMethodNotFound = -32601,
  VLRemoteInvalidParams = -32602,
  VLRemoteInternalError = -32603,
  VLRemoteUnsupportedVersion = -32001,
};
