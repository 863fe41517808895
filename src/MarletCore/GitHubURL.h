#pragma once

#include "MarletBase/URL.h"

namespace marlet {

// Where the REST API, the GraphQL API and the web pages of a GitHub account's server are: public GitHub, a hosted
// enterprise tenant, or a server of the user's own. A URL that can't be taken apart stands for itself.
URL gitHubAPIRoot(const URL& baseURL);
URL gitHubGraphQLURL(const URL& baseURL);
URL gitHubWebRoot(const URL& baseURL);

}  // namespace marlet
