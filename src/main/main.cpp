#include "main/start_up.h"

int main(int argc, char** argv) { return rfcd::start_up(argc, argv); }
