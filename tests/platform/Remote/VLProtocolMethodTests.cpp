// The method table against the two things that must agree with it: the protocol document, and
// the reference provider, which must refuse a request that lacks a required parameter or
// carries one of the wrong type, naming it, whichever method it is.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "Remote/VLProtocolMethod.h"
#include "Remote/VLRemotePlatform.h"

namespace {

using nlohmann::json;
using M = VLProtocolMethod;

TEST(VLProtocolMethodTable, EveryMethodIsDocumentedOnce) {
  std::ifstream file(VL_PROTOCOL_DOCUMENT);
  std::stringstream text;
  text << file.rdbuf();
  std::set<std::string_view> names;
  for (const auto& method : M::all()) {
    EXPECT_TRUE(names.insert(method.name).second) << method.name << " is listed twice";
    EXPECT_NE(text.str().find("`" + std::string(method.name) + "`"), std::string::npos)
        << method.name << " is not in the protocol document";
    EXPECT_EQ(M::find(method.name), &method);
  }
  EXPECT_EQ(M::find("items.nothing"), nullptr);
}

// A value of each type, and one that is none of them.
json valueOf(M::Type type) {
  switch (type) {
    case M::Type::Integer: return 1;
    case M::Type::Number: return 1.5;
    case M::Type::String: return "text";
    case M::Type::Boolean: return true;
    case M::Type::Object: return json::object();
    case M::Type::Array: return json::array();
  }
  return nullptr;
}

TEST(VLProtocolMethodTable, ChecksEachParameterByItsRow) {
  const M& method = *M::find(M::kThumbnailsFetch);
  json params = {{"width", 1}, {"height", 2}, {"scale", 1}};
  EXPECT_NO_THROW(method.checkParameters(VLRemoteJSONReader(params, "params")));
  params["item"] = nullptr;  // an optional parameter may be null
  EXPECT_NO_THROW(method.checkParameters(VLRemoteJSONReader(params, "params")));
  params["scale"] = "big";
  EXPECT_THROW(method.checkParameters(VLRemoteJSONReader(params, "params")), VLRemoteJSONError);
  params.erase("scale");
  try {
    method.checkParameters(VLRemoteJSONReader(params, "params"));
    ADD_FAILURE() << "no error for a missing parameter";
  } catch (const VLRemoteJSONError& error) {
    EXPECT_STREQ(error.what(), "params: missing field \"scale\"");
  }
}

// Every host request, once without each required parameter and once with each parameter of a
// wrong type: the reference provider answers "invalid params" naming the parameter.
TEST(VLProtocolMethodTable, TheReferenceProviderRefusesEachBadParameterByName) {
  auto platform = VLRemotePlatform::launch(VL_PROVIDER_SIM);
  ASSERT_TRUE(platform);
  int checked = 0;
  for (const auto& method : M::all()) {
    if (method.sender != M::Sender::Host || !method.answered) continue;
    json good = json::object();
    for (const auto& parameter : method.parameters) {
      if (parameter.required) good[parameter.name] = valueOf(parameter.type);
    }
    for (const auto& parameter : method.parameters) {
      json bad = good;
      std::string expected;
      if (parameter.required) {
        bad.erase(parameter.name);
        expected = "missing field \"" + std::string(parameter.name) + "\"";
      } else {
        // Text where a number is wanted, a number anywhere else.
        bad[parameter.name] = parameter.type == M::Type::String ? json(7) : json("text");
        expected = "params." + std::string(parameter.name) + ": expected";
      }
      auto answer = platform->session()->requestAndWait(std::string(method.name), bad);
      ASSERT_TRUE(answer.error) << method.name << " took " << bad.dump();
      EXPECT_NE(answer.error->localizedDescription().find(expected), std::string::npos)
          << method.name << ": " << answer.error->localizedDescription();
      ++checked;
    }
  }
  EXPECT_GE(checked, 39);  // every parameter of every request
  platform->close();
}

}  // namespace
