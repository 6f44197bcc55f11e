#include <QApplication>

int main(int argc, char** argv) {
    QApplication qapp(argc, argv);
    return 0;
}
