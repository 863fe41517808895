// A client of the installed engine: makes a local account in memory and reads its one project back.
#include <boost/asio.hpp>

#include "MarletKit/MarletServices.h"
#include "MarletStore/MarletSchema.h"

int main() {
    boost::asio::io_context loop;
    marlet::MarletServices services(
        {.executor = loop.get_executor(),
         .container = marlet::MarletSchema::makeInMemoryContainer(),
         .localTasks = std::make_shared<marlet::LocalTaskDatabase>(marlet::LocalTaskSchema::makeInMemoryContainer()),
         .credentials = std::make_shared<marlet::InMemoryCredentialStore>(),
         .clock = std::make_shared<marlet::SystemClock>(),
         .syncPolicy = {},
         .backendFactory = nullptr});
    auto account = boost::asio::co_spawn(loop, services.addLocalAccount("Here", "Garden"), boost::asio::use_future);
    loop.run();
    auto projects =
        boost::asio::co_spawn(loop, services.store().projectSnapshots(account.get().id, true), boost::asio::use_future);
    loop.restart();
    loop.run();
    return projects.get().at(0).name == "Garden" ? 0 : 1;
}
