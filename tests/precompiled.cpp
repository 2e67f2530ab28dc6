// Carries the headers that all tests share; never run.
int main() {
  return 0;
}
