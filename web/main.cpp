// The entry of the web build. After a wait the program does not return through `main`, so a result
// returned by `main` would be lost. `exit` reports the result and runs the exit handlers.

#include <cstdlib>

int program_main(int argument_count, char** arguments); // `main` of app/main.cpp

int main(int argument_count, char** arguments)
{
    std::exit(program_main(argument_count, arguments));
}
