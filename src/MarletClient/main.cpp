#include <string>
#include <vector>

#include "MarletClient/Client.h"

int main(int count, char** arguments) {
    return marlet::runClient(std::vector<std::string>(arguments + 1, arguments + count));
}
