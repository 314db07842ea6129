#include "consumer.h"

int main() { return consume(); }
