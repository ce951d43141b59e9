#include "service/SessionEndpoint.h"

#include "service/Authorization.h"
#include "service/JsonMembers.h"

namespace quorvex::service {

using nlohmann::json;

SessionEndpoint::SessionEndpoint(const Tokens& issuer, const Accounts& known,
                                 std::vector<IceServerOption> servers)
    : tokens(issuer), accounts(known), iceServers(std::move(servers)) {}

void SessionEndpoint::mint(const HttpRequest& request, const Respond& respond) const {
  requireJson(request);
  const auto body = JsonMembers::parse(request.body, "the body");
  body.allowOnly({"device_id"});
  const std::string& device = body.textOfSome("device_id");
  const bool isKept = tokens.isOwnUser(device) && device != accounts.user();
  const std::string user = isKept ? device : tokens.newUser();
  const std::string token =
      tokens.issue({.userUuid = user,
                    .brand = Tokens::kBrand,
                    .type = "device",
                    .expiry = std::chrono::system_clock::now() + Tokens::kLifetime});
  respond({.status = 200,
           .body = json{{"token", token}, {"user_uuid", user}, {"type", "device"}},
           .headers = {}});
}

void SessionEndpoint::turnCredentials(const HttpRequest&, const Respond& respond) const {
  json servers = json::array();
  for (const auto& option : iceServers) {
    json server = {{"urls", json::array({option.url})}};
    if (option.username) server["username"] = *option.username;
    if (option.credential) server["credential"] = *option.credential;
    servers.push_back(std::move(server));
  }
  respond({.status = 200, .body = json{{"iceServers", std::move(servers)}}, .headers = {}});
}

}  // namespace quorvex::service
