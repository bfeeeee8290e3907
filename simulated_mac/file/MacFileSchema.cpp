#include "simulated_mac/file/MacFile.h"
#include "simulated_mac/file/MacFileFormat.h"

namespace simulated_mac {

std::string macFileSchema() {
    JSON schema = {{"$schema", "http://json-schema.org/draft-07/schema#"},
                   {"title", "Mac file"},
                   {"description", "A Mac for the simulation to stand in for."}};
    schema.update(Mapping{}.schema(MacDescription()));
    schema["definitions"] = {{"property", Properties::definition()}};
    return schema.dump(2) + '\n';
}

}  // namespace simulated_mac
