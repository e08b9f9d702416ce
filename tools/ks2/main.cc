// ks2: reads what kestrel wrote.
#include "tools/ks2/command.h"

int main(int argc, char** argv) { return kestrel::ks2::ks2_main(argc, argv); }
