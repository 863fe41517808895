#include <string>
#include <vector>

#include "MarletHelper/Helper.h"

int main(int count, char** arguments) {
    return marlet::runHelper(std::vector<std::string>(arguments + 1, arguments + count));
}
