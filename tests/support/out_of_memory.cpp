// Asks for more memory than there is, with the stand-ins of the library for the run-time library.
int main() {
  char* volatile block = new char[0x7FFF0000];
  delete[] block;
}
