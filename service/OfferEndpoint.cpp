#include "service/OfferEndpoint.h"

#include "service/Router.h"

namespace quorvex::service {
namespace {

constexpr std::size_t kMostEarlyCandidates = 64;

/// What follows `mark`, up to the end of the word; empty when it is not there.
std::string wordAfter(const std::string& text, const std::string& mark) {
  const auto found = text.find(mark);
  if (found == std::string::npos) return "";
  const auto start = found + mark.size();
  return text.substr(start, text.find_first_of(" \r\n", start) - start);
}

std::string ufragOf(const IceCandidate& candidate) {
  return wordAfter(candidate.candidate, " ufrag ");
}

// A session description that can be read and answers no offer: it has no media.
constexpr const char* kUnusableSdp = "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=-\r\nt=0 0\r\n";

HttpReply answerOf(const std::string& sdp) {
  return {.status = 200,
          .body = nlohmann::json{{"sdp", sdp}, {"type", "answer"}, {"face_swap_ready", true}}};
}

HttpReply replyOf(const std::variant<MediaPeer::Answer, Refusal>& result) {
  if (const auto* refusal = std::get_if<Refusal>(&result)) return Router::refused(*refusal);
  return answerOf(std::get<MediaPeer::Answer>(result).sdp);
}

}  // namespace

OfferEndpoint::OfferEndpoint(const Tokens& issued, Clients& registry, Admission& admits,
                             const Faults& present, MediaEngine& media,
                             std::optional<PictureSize> size)
    : tokens(issued),
      clients(registry),
      admission(admits),
      faults(present),
      engine(media),
      sentSize(size) {}

Client& OfferEndpoint::clientOf(const JsonMembers& body, const Authorization& by) {
  Client* client = clients.find(body.text("client_id"));
  if (!client)
    throw Refusal{404, "member \"client_id\" must be the one of the status socket's \"identity\""};
  if (client->userUuid != by.claims.userUuid)
    throw Refusal{403, "member \"client_id\" must be a client of the token's user"};
  return *client;
}

void OfferEndpoint::offer(const HttpRequest& request, Respond respond) {
  requireJson(request);
  const Authorization by = authorize(request, tokens);
  const auto body = JsonMembers::parse(request.body, "the body");
  body.allowOnly({"sdp", "type", "client_id", "token", "face_swap_config"});
  const std::string& sdp = body.textOfSome("sdp");
  if (body.text("type") != "offer") throw Refusal{400, "member \"type\" must be \"offer\""};
  if (body.text("token") != by.token)
    throw Refusal{400, "member \"token\" must be the token of header Authorization"};
  Client& client = clientOf(body, by);
  if (body.has("face_swap_config"))
    client.settings.takeFace(body.members("face_swap_config"));
  else
    client.settings.face = nullptr;
  client.iceUfrag = wordAfter(sdp, "a=ice-ufrag:");
  std::erase_if(client.candidates,
                [&](const auto& early) { return ufragOf(early) != client.iceUfrag; });
  if (const auto position = admission.ask(client))
    return respond({.status = 200,
                    .body = nlohmann::json{{"status", "queued"}, {"queue_position", *position}}});
  answer(client, sdp, std::move(respond));
}

void OfferEndpoint::answer(Client& client, const std::string& sdp, Respond respond) {
  client.peer = nullptr;
  if (!faults.answersWell) {
    admission.update();
    return respond(answerOf(kUnusableSdp));
  }
  client.peer = std::make_unique<MediaPeer>(
      engine, sentSize, sdp,
      [respond = std::move(respond)](const auto& result) { respond(replyOf(result)); },
      [this, id = client.id] {
        if (Client* failed = clients.find(id)) failed->peer = nullptr;
        admission.update();
      });
  client.peer->show(client.settings);
  for (const auto& early : client.candidates) client.peer->add(early);
  client.candidates.clear();
}

void OfferEndpoint::candidate(const HttpRequest& request, const Respond& respond) {
  requireJson(request);
  const Authorization by = authorize(request, tokens);
  const auto body = JsonMembers::parse(request.body, "the body");
  body.allowOnly({"candidate", "client_id"});
  const auto members = body.members("candidate");
  members.allowOnly({"candidate", "sdpMid", "sdpMLineIndex"});
  const IceCandidate candidate{.candidate = members.text("candidate"),
                               .sdpMid = members.textOrNull("sdpMid").value_or(""),
                               .sdpMLineIndex = members.integer("sdpMLineIndex")};
  if (!MediaPeer::isReadable(candidate))
    throw Refusal{400, "member \"candidate.candidate\" must be an ICE candidate line"};

  Client& client = clientOf(body, by);
  const std::string ufrag = ufragOf(candidate);
  if (client.peer && (ufrag.empty() || ufrag == client.iceUfrag)) {
    client.peer->add(candidate);
  } else if (client.candidates.size() < kMostEarlyCandidates) {
    client.candidates.push_back(candidate);
  }
  respond({.status = 204, .body = {}, .headers = {}});
}

}  // namespace quorvex::service
