#include "host.h"

int main(int argc, char** argv) { return host::hostMain(argc, argv); }
