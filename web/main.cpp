// The entry point of the web build. A program that has waited for a key no longer returns through
// `main`, so the result of `main` would be lost. `exit` reports the result and runs the exit
// handlers.

#include <cstdlib>

int program_main(int argument_count, char** arguments); // `main` of app/main.cpp

int main(int argument_count, char** arguments)
{
    std::exit(program_main(argument_count, arguments));
}
