// bare-start: loads the libraries of kestrelbay, and does nothing.
int main() {}
