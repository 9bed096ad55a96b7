// A design of 50 runs from C++.
#include <optdoe.hpp>

#include <iostream>

int main()
try {
    optdoe::request request;
    const char* names[] = {"Temp", "Flow", "Speed", "Load", "Time"};
    for (int j = 0; j < 5; ++j)
        request.add_factor(names[j], 0, 10 * (j + 1));
    request.set("runs", 50).set("criterion", "cd2").set("effort", 20000).set("seed", 5);
    const optdoe::design design = request.run();
    const std::vector<std::int32_t> levels = design.levels();
    for (std::size_t c = 0; c < levels.size(); ++c)
        std::cout << levels[c] << (c % 5 == 4 ? '\n' : ',');
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
