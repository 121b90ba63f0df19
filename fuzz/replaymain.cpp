// The driver of the fuzz targets where libFuzzer is missing: runs the target over each file
// named on the command line, so that a corpus or a crashing input can be replayed.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize);

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
    {
        std::ifstream in(argv[i], std::ios::binary);
        std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(data.data(), data.size());
    }
    return 0;
}
