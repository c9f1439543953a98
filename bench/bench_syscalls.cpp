// bench_syscalls PREPARED ACCEPTED: accepts so many alerts of those that it has prepared, and ends without
// tidying up. What two runs differ by is what accepting alerts costs in system calls.
#include <cstdlib>
#include <unistd.h>

#include "bench/BenchHost.h"
#include "bench/Product.h"

int main(int argc, char** argv) {
    using namespace Bench;
    if (argc != 3)
        return 2;
    const auto prepared = static_cast<uint32_t>(std::atoi(argv[1]));
    const auto accepted = static_cast<uint32_t>(std::atoi(argv[2]));
    const Surroundings surroundings;
    Module module;
    module.fill(10);
    Product product;
    product.prepare(module.takeNumbers(prepared), prepared, waitingSession);
    product.accept(accepted);
    _exit(0);
}
