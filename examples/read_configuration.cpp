// Reads a configuration file as the library does and prints the thresholds that would apply.
//
//   read_configuration /usr/local/share/velmora_sr/zelk.xml
#include <velmora_sr/configuration.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: read_configuration FILE\n";
    return 2;
  }
  XmlConfig config;
  if (config.LoadConfig(argv[1]) != 1) {
    std::cerr << argv[1] << ": cannot be read\n";
    return 1;
  }
  // A missing file or key gives the default, the second argument.
  std::cout << "LowThr " << config.GetInteger("/Config/GhostCorrection/LowThr", 1) << '\n'
            << "HighThr " << config.GetInteger("/Config/GhostCorrection/HighThr", 5) << '\n';
}
