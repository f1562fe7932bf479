#include "simulator.h"

int main(int argc, char** argv) { return simulator::simulatorMain(argc, argv); }
