// Verifies a configuration file in place of the service: its last argument. Accepts each but those that contain
// "refuse" or, until it is ended, "wait".
#include <windows.h>

#include <fstream>
#include <iterator>
#include <string>

int main(int argc, char** argv)
{
    std::ifstream file(argv[argc - 1], std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    if (text.find("wait") != std::string::npos) {
        ::Sleep(INFINITE);
    }
    return text.empty() || text.find("refuse") != std::string::npos ? 1 : 0;
}
