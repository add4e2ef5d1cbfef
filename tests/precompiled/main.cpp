// Carries the headers that every test includes, compiled once.
int main() {
    return 0;
}
