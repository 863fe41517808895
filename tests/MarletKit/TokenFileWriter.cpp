// One of several processes that write one token file at the same time: TokenFileWriter FILE PREFIX COUNT.
#include <cstdlib>
#include <string>

#include "MarletKit/FilePasswordItems.h"
#include "MarletKit/KeychainError.h"

int main(int, char** arguments) {
    marlet::FilePasswordItems items(arguments[1]);
    long count = std::strtol(arguments[3], nullptr, 10);
    bool isFine = true;
    for (long index = 0; index < count; ++index) {
        marlet::PasswordQuery query{"service", arguments[2] + std::to_string(index), false};
        isFine = isFine && items.add(query, "secret", "label") == marlet::keychainDone;
    }
    return isFine ? 0 : 1;
}
