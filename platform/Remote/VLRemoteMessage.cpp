#include "Remote/VLRemoteMessage.h"

#include <cctype>

#include "Remote/VLRemoteJSONReader.h"
#include "Remote/VLRemoteStreamParser.h"

using nlohmann::json;

namespace {

const auto kReplaceInvalidUTF8 = json::error_handler_t::replace;

// Finds the first `"id": <integer>` in a line that could not be parsed, so that the request
// it answers can fail with the reason instead of waiting for its time-out.
std::optional<int64_t> recoverID(std::string_view line) {
  for (size_t at = line.find("\"id\""); at != std::string_view::npos; at = line.find("\"id\"", at + 1)) {
    size_t i = at + 4;
    while (i < line.size() && std::isspace(static_cast<unsigned char>(line[i]))) ++i;
    if (i >= line.size() || line[i] != ':') continue;
    ++i;
    while (i < line.size() && std::isspace(static_cast<unsigned char>(line[i]))) ++i;
    size_t start = i;
    if (i < line.size() && line[i] == '-') ++i;
    size_t digits = i;
    while (i < line.size() && i - digits < 18 && std::isdigit(static_cast<unsigned char>(line[i]))) ++i;
    if (i == digits) continue;
    return std::stoll(std::string(line.substr(start, i - start)));
  }
  return std::nullopt;
}

// Returns whether arrays and objects nest deeper than `limit` outside strings.
bool nestsDeeperThan(std::string_view line, int limit) {
  int depth = 0;
  bool inString = false, escaped = false;
  for (char c : line) {
    if (inString) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        inString = false;
      }
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > limit) return true;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return false;
}

std::string withoutLibraryPrefix(const std::string& text) {
  size_t end = text.find("] ");
  return text.rfind("[json.exception.", 0) == 0 && end != std::string::npos ? text.substr(end + 2) : text;
}

std::string line(const json& message) { return message.dump(-1, ' ', false, kReplaceInvalidUTF8) + "\n"; }

std::string dumped(const json& value) { return value.dump(-1, ' ', false, kReplaceInvalidUTF8); }

// Writes the envelope around `payload` by hand, in the order a dumped object would have
// its members, so that a big result or params is never copied into a second document.
std::string envelope(const json* id, const std::string* method, const char* payloadName, const json& payload) {
  std::string text = "{";
  if (id) text += "\"id\":" + dumped(*id) + ",";
  text += "\"jsonrpc\":\"2.0\"";
  if (method) text += ",\"method\":" + dumped(*method);
  text += ",\"";
  text += payloadName;
  text += "\":";
  text += dumped(payload);
  text += "}\n";
  return text;
}

}  // namespace

std::optional<int64_t> VLRemoteMessage::integerID() const {
  if (id.is_number_integer()) {
    if (id.is_number_unsigned() && id.get<uint64_t>() > static_cast<uint64_t>(INT64_MAX)) return std::nullopt;
    return id.get<int64_t>();
  }
  return std::nullopt;
}

VLRemoteJSONReader VLRemoteMessage::body() const {
  return kind == Kind::Result ? VLRemoteJSONReader(result, "result", streamedItems.get())
                              : VLRemoteJSONReader(params, "params", streamedItems.get());
}

VLRemoteMessage VLRemoteMessage::parse(std::string_view text, bool streamItems) {
  if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
  if (text.size() > kMaximumLineLength) {
    throw VLRemoteMalformedMessage("the line is " + std::to_string(text.size()) + " bytes long; at most " +
                                       std::to_string(kMaximumLineLength) + " are allowed",
                                   recoverID(text.substr(0, 4096)), false);
  }
  if (nestsDeeperThan(text, kMaximumDepth)) {
    throw VLRemoteMalformedMessage("the JSON nests deeper than " + std::to_string(kMaximumDepth) + " levels",
                                   recoverID(text), false);
  }
  json value;
  auto streamed = streamItems ? std::make_shared<VLRemoteStreamedItems>() : nullptr;
  try {
    value = streamed ? VLRemoteStreamParser::parse(text, *streamed) : json::parse(text);
  } catch (const json::exception& error) {
    throw VLRemoteMalformedMessage("not JSON: " + withoutLibraryPrefix(error.what()), recoverID(text), false);
  }
  if (!value.is_object()) {
    throw VLRemoteMalformedMessage("not a JSON-RPC message (a JSON object): " + vl_excerptJSON(value), std::nullopt);
  }

  VLRemoteMessage message;
  if (streamed && !streamed->lists.empty()) message.streamedItems = std::move(streamed);
  auto idMember = value.find("id");
  if (idMember != value.end()) message.id = *idMember;
  std::optional<int64_t> knownID = message.integerID();
  auto fail = [&](const std::string& reason) { throw VLRemoteMalformedMessage(reason, knownID); };

  auto version = value.find("jsonrpc");
  if (version == value.end() || *version != "2.0") fail("the member \"jsonrpc\" must be \"2.0\"");
  bool hasResult = value.contains("result"), hasError = value.contains("error");

  if (auto method = value.find("method"); method != value.end()) {
    if (!method->is_string()) fail("the member \"method\" must be a string, not " + vl_excerptJSON(*method));
    if (hasResult || hasError) fail("a message with \"method\" cannot carry \"result\" or \"error\"");
    message.method = method->get<std::string>();
    auto params = value.find("params");
    if (params == value.end() || params->is_null()) {
      message.params = json::object();
    } else if (params->is_object()) {
      message.params = std::move(*params);
    } else {
      fail("the \"params\" of " + message.method + " must be an object, not " + vl_excerptJSON(*params));
    }
    if (idMember == value.end()) {
      message.kind = Kind::Notification;
    } else if (idMember->is_number_integer() || idMember->is_string()) {
      message.kind = Kind::Request;
    } else {
      fail("the \"id\" of a request must be an integer or a string, not " + vl_excerptJSON(*idMember));
    }
    return message;
  }

  if (idMember == value.end()) fail("a message needs \"method\" (a request or notification) or \"id\" (an answer)");
  if (hasResult == hasError) fail("an answer must carry exactly one of \"result\" and \"error\"");
  if (hasResult) {
    if (!knownID) fail("the \"id\" of an answer must be an integer, not " + vl_excerptJSON(message.id));
    json& result = value["result"];
    if (!result.is_object()) fail("the \"result\" must be an object, not " + vl_excerptJSON(result));
    message.kind = Kind::Result;
    message.result = std::move(result);
    return message;
  }
  const json& error = value["error"];
  if (!error.is_object()) fail("the \"error\" must be an object, not " + vl_excerptJSON(error));
  try {
    VLRemoteJSONReader reader(error, "error");
    message.errorCode = reader.field("code").integer();
    message.errorMessage = reader.field("message").string();
  } catch (const VLRemoteJSONError& problem) {
    fail(problem.what());
  }
  if (auto data = error.find("data"); data != error.end()) message.errorData = *data;
  if (!message.id.is_null() && !knownID)
    fail("the \"id\" of an answer must be an integer, not " + vl_excerptJSON(message.id));
  message.kind = Kind::Error;
  return message;
}

std::string VLRemoteMessage::requestLine(int64_t id, const std::string& method, const json& params) {
  json number = id;
  return envelope(&number, &method, "params", params);
}

std::string VLRemoteMessage::notificationLine(const std::string& method, const json& params) {
  return envelope(nullptr, &method, "params", params);
}

std::string VLRemoteMessage::resultLine(const json& id, const json& result) {
  return envelope(&id, nullptr, "result", result);
}

std::string VLRemoteMessage::errorLine(const json& id, int64_t code, const std::string& message, const json& data) {
  json error = {{"code", code}, {"message", message}};
  if (!data.is_null()) error["data"] = data;
  return line({{"jsonrpc", "2.0"}, {"id", id}, {"error", error}});
}
