// VLRemoteService: one service that a provider in its own process lists for an item URL,
// named by the provider's token for it. Each connection request makes a fresh connection
// whose calls carry that token; the completion runs later on a background thread.
// Immutable; thread-safe.
#pragma once

#include <memory>
#include <string>

#include "Remote/VLRemoteSession.h"
#include "Vaultline/VLVaultlineService.h"

class VLRemoteService : public VLVaultlineService {
 public:
  static std::shared_ptr<VLRemoteService> make(std::shared_ptr<VLRemoteSession> session, std::string name,
                                               std::string token);

  std::string name() const override { return name_; }
  void getVaultlineConnectionWithCompletionHandler(ConnectionCompletion completion) override;
  std::string description() const override { return "<VLRemoteService " + name_ + " " + token_ + ">"; }

 private:
  VLRemoteService(std::shared_ptr<VLRemoteSession> session, std::string name, std::string token)
      : session_(std::move(session)), name_(std::move(name)), token_(std::move(token)) {}

  const std::shared_ptr<VLRemoteSession> session_;
  const std::string name_;
  const std::string token_;
};
