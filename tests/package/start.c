// What a C library does around main, for compilers that bring none: their programs begin with start.

int main(int count, char** arguments);
int __getmainargs(int* count, char*** arguments, char*** environment, int expand_wildcards, int* new_mode);
_Noreturn void exit(int status);

int _fltused;  // Of a program that computes with floating-point numbers.

void start(void) {
  int count;
  char** arguments;
  char** environment;
  int new_mode = 0;
  __getmainargs(&count, &arguments, &environment, 0, &new_mode);
  exit(main(count, arguments));
}
