// The least that any program of this toolkit does: makes its application object and ends.
#include <QGuiApplication>

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    return 0;
}
