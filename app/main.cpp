#include "app/run.h"

int main(int argument_count, char** arguments)
{
    return run(argument_count, arguments);
}
