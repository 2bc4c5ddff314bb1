#include "Remote/VLRemoteValidationProxy.h"

#include "Core/VLLog.h"
#include "Remote/VLProtocolMethod.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"

std::shared_ptr<VLRemoteValidationProxy> VLRemoteValidationProxy::make(
    std::shared_ptr<VLRemoteServiceConnection> connection, std::function<void(VLErrorRef)> errorHandler) {
  return std::shared_ptr<VLRemoteValidationProxy>(
      new VLRemoteValidationProxy(std::move(connection), std::move(errorHandler)));
}

std::shared_ptr<VLRemoteObjectProxy> VLRemoteValidationProxy::remoteObjectProxyWithErrorHandler(
    std::function<void(VLErrorRef)> handler) {
  return make(connection_, std::move(handler));
}

void VLRemoteValidationProxy::validation_allowValidation(AllowReply reply) {
  auto handler = errorHandler_;
  auto session = connection_->session();
  connection_->call(
      VLProtocolMethod::kValidationAllowValidation,
      [reply = std::move(reply), handler, session](const VLRemoteSession::Answer& answer) {
        bool allowed = false;
        VLValue::Dictionary options;
        VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
          allowed = result.field("allowed").boolean();
          if (auto field = result.optionalField("options")) {
            for (const auto& [key, value] : field->members()) {
              if (!value.json().is_null()) options[key] = VLRemoteCodec::decodeValue(value);
            }
          }
        });
        if (!error) {
          // Only a provider that said it has a working set is asked for it.
          auto none = options.find(VLValidationOptionHasNoWorkingSet);
          session->learnWorkingSet(none != options.end() && !none->second.boolValue());
          reply(allowed, options);
        } else if (handler) {
          handler(error);
        } else {
          VLLog::error("validation_allowValidation failed and its proxy has no error handler: %@", error);
        }
      },
      handler);
}

void VLRemoteValidationProxy::callWithErrorReply(const std::string& method, ErrorReply reply) {
  auto handler = errorHandler_;
  auto session = connection_->session();
  connection_->call(
      method,
      [reply = std::move(reply), handler, session](const VLRemoteSession::Answer& answer) {
        VLErrorRef reported;
        VLErrorRef error = answer.decode(
            [&](const VLRemoteJSONReader& result) { reported = session->codec().decodeOptionalError(result); });
        if (error && handler) {
          handler(error);
        } else {
          reply(error ? error : reported);
        }
      },
      handler);
}

void VLRemoteValidationProxy::validation_evictDocumentWithCompletionHandler(ErrorReply reply) {
  callWithErrorReply(VLProtocolMethod::kValidationEvictDocument, std::move(reply));
}

void VLRemoteValidationProxy::validation_shareDocumentWithCompletionHandler(ErrorReply reply) {
  callWithErrorReply(VLProtocolMethod::kValidationShareDocument, std::move(reply));
}
