#pragma once

#include <string>

#include "MarletBase/LocalizedError.h"

namespace marlet {

class CheckoutError final : public LocalizedError {
public:
    enum class Case {
        folderNotEmpty,
        otherRepository,
        notACheckout,
        notAWorktree,
        invalidWorktreeName,
        commandFailed,
    };

    static CheckoutError folderNotEmpty(const std::string& path);
    static CheckoutError otherRepository(const std::string& path, const std::string& origin);
    static CheckoutError notACheckout(const std::string& path);
    static CheckoutError notAWorktree(const std::string& path);
    static CheckoutError invalidWorktreeName(const std::string& name);
    // `command`: its short name, such as "git clone".
    static CheckoutError commandFailed(const std::string& command, const std::string& message);

    Case kind() const { return which; }

private:
    CheckoutError(Case kind, std::string description);

    Case which;
};

}  // namespace marlet
