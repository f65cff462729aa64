#include "EmuFixture.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace ylmtest {

std::string fixture(const std::string& name) {
    const std::string path = std::string(YLM_FIXTURES_DIR) + "/" + name;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("missing fixture " + path);
    }
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace ylmtest
