#include "consumer.h"

int main(void) { return consume(); }
