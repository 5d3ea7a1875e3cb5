#include "agent.h"

int main(int argc, char** argv) {
    return plug::RunAgent(argc, argv);
}
