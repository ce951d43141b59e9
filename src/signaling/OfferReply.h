#pragma once

#include "platform/HttpClient.h"
#include "signaling/OfferResult.h"

namespace quorvex {

/// Classifies the service's reply to an offer and logs an answer or a busy service.
[[nodiscard]] OfferResult classifyOfferReply(const HttpResult& reply);

}  // namespace quorvex
