/* The smallest host in C: prints the library's version. */
#include <QUARLO-Core.h>
#include <stdio.h>

int main(void) {
    void* instance;
    quarlo_Init();
    instance = quarlo_CreateInstance(NULL, "consumer");
    puts(quarlo_GetVersion());
    quarlo_DeleteInstance(instance);
    quarlo_Shutdown();
    return instance == NULL;
}
