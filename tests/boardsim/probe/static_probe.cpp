// A program that the launcher must refuse: no library can be put in front of its system calls.
int main() {
  return 0;
}
