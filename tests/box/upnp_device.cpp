// A root device as a maker builds one, on libupnp: usage: upnp_device IFNAME PORT NAME. It says
// farewell when it is asked to end.

#include <signal.h>
#include <upnp/upnp.h>
#include <upnp/upnptools.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::string Description(const std::string& name) {
    return "<?xml version=\"1.0\"?><root xmlns=\"urn:schemas-upnp-org:device-1-0\">"
           "<specVersion><major>1</major><minor>0</minor></specVersion><device>"
           "<deviceType>urn:schemas-upnp-org:device:Basic:1</deviceType><friendlyName>"
           + name
           + "</friendlyName><manufacturer>Maker</manufacturer><modelDescription>A screen"
             "</modelDescription><modelName>M-1</modelName><UDN>uuid:"
           + name + "</UDN></device></root>";
}

int Ignore(Upnp_EventType, const void*, void*) {
    return 0;
}

void Require(int result) {
    if (result != UPNP_E_SUCCESS) {
        std::fprintf(stderr, "libupnp: %s\n", UpnpGetErrorMessage(result));
        std::exit(1);
    }
}

}  // namespace

int main(int, char** arguments) {
    sigset_t end;
    ::sigemptyset(&end);
    ::sigaddset(&end, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &end, nullptr);
    Require(UpnpInit2(arguments[1], static_cast<unsigned short>(std::atoi(arguments[2]))));
    const std::string description = Description(arguments[3]);
    UpnpDevice_Handle device;
    Require(UpnpRegisterRootDevice2(UPNPREG_BUF_DESC, description.c_str(), description.size(), 1,
                                    Ignore, nullptr, &device));
    Require(UpnpSendAdvertisement(device, 100));
    int received;
    ::sigwait(&end, &received);
    UpnpUnRegisterRootDevice(device);
    UpnpFinish();
}
