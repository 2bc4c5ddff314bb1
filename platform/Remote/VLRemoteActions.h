// VLRemoteActions: carries out action operations through the provider protocol: each action
// becomes one "actions.*" request whose answer sets the action's results (transfer results,
// per-item errors, created or downloaded items) and then completes it, on a background
// thread. An answer that is not valid completes the action with that error. Immutable;
// thread-safe.
#pragma once

#include <memory>

#include "Remote/VLRemoteSession.h"
#include "Vaultline/VLActionOperation.h"

class VLRemoteActions {
 public:
  explicit VLRemoteActions(std::shared_ptr<VLRemoteSession> session) : session_(std::move(session)) {}

  // Sends `action` to the provider; the action completes when the answer comes.
  void perform(const std::shared_ptr<VLActionOperation>& action) const;

 private:
  using Finish = std::function<void(const VLRemoteSession::Answer& answer)>;
  // Returns the request for `action` (method and params) and how to finish it, or an empty
  // method for an action the protocol does not carry.
  std::pair<std::string, nlohmann::json> request(const std::shared_ptr<VLActionOperation>& action,
                                                 Finish& finish) const;

  const std::shared_ptr<VLRemoteSession> session_;
};
