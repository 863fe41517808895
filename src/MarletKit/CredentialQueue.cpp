#include "MarletKit/CredentialQueueInternal.h"

namespace marlet {
namespace {

Async<std::optional<std::string>> readToken(std::shared_ptr<CredentialStore> credentials, UUID accountID) {
    co_return credentials->token(accountID);
}

Async<void> writeToken(std::shared_ptr<CredentialStore> credentials, std::optional<std::string> token, UUID accountID) {
    credentials->setToken(std::move(token), accountID);
    co_return;
}

}  // namespace

CredentialQueue::CredentialQueue(std::shared_ptr<CredentialStore> credentials)
    : credentials(std::move(credentials)),
      thread(1),
      strand(boost::asio::make_strand(Executor(thread.get_executor()))) {}

CredentialQueue::~CredentialQueue() {
    thread.join();
}

Async<std::optional<std::string>> CredentialQueue::token(UUID accountID) {
    return runOn(strand, readToken(credentials, accountID));
}

Async<void> CredentialQueue::setToken(std::optional<std::string> token, UUID accountID) {
    return runOn(strand, writeToken(credentials, std::move(token), accountID));
}

}  // namespace marlet
