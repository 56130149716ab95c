// bare-start: loads what kestrelbay loads, and does nothing.
int main() {}
