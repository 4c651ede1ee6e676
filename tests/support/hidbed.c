/* hidbed [-c FIFO] [DEVICE ...] -- PROGRAM [ARGUMENT ...]
 *
 * Runs a program among emulated USB HID devices, below the real hidapi and the real libusb: their
 * descriptors stand in a umockdev testbed and their strings are answered live. The program sees
 * these devices only; all of /sys is the testbed's.
 *
 *   DEVICE  PRODUCT:RELEASE:SERIAL, the first two in hexadecimal (A241:0103:20000001)
 *   FIFO    lines "add DEVICE" and "del SERIAL" plug and unplug while the program runs
 *
 * Ends with the program's exit status, 128 and the signal that ended it, 127 when it cannot be
 * started, 2 for wrong arguments. SIGTERM and SIGINT go on to the program.
 *
 * The order in which a program finds the devices is not the order of plugging. */
#include <umockdev.h>
#include <glib-unix.h>

#include <errno.h>
#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <signal.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

enum { VENDOR_ID = 0x7C15, FIRST_DEVICE = 2, SETUP_BYTES = 8, STRING_DESCRIPTOR = 3 };

typedef struct
{
    char* serial;
    char* syspath;
    char* devnode;
    UMockdevIoctlBase* handler;
} Device;

static UMockdevTestbed* testbed;
static GHashTable* devices; /* serial to Device */
static guint next_number = FIRST_DEVICE;
static GMainLoop* loop;
static GPid child;
static int exit_status;

static guint8 low(guint value)
{
    return (guint8)(value & 0xFFU);
}

static guint8 high(guint value)
{
    return (guint8)((value >> 8) & 0xFFU);
}

/* Writes a string descriptor, cut to max bytes as a device cuts it; returns its length, or -EPIPE
 * (a stall) for a string that the device does not have. */
static int string_descriptor(const Device* device, int index, guint8* out, int max)
{
    const char* texts[] = {NULL, "Example Optics", "Example HID device", device->serial};
    guint8 bytes[256];
    int length = 2;
    if (index == 0) { /* the languages: English (United States) */
        bytes[length++] = 0x09;
        bytes[length++] = 0x04;
    } else if (index > 0 && index < (int)G_N_ELEMENTS(texts)) {
        for (const char* c = texts[index]; *c != 0 && length < 254; ++c) {
            bytes[length++] = (guint8)*c;
            bytes[length++] = 0;
        }
    } else {
        return -EPIPE;
    }
    bytes[0] = (guint8)length;
    bytes[1] = STRING_DESCRIPTOR;
    length = MIN(length, max);
    memcpy(out, bytes, (size_t)length);
    return length;
}

static UMockdevIoctlData* submit_urb(UMockdevIoctlData* argument, GQueue* pending)
{
    UMockdevIoctlData* data =
        umockdev_ioctl_data_resolve(argument, 0, sizeof(struct usbdevfs_urb), NULL);
    if (data == NULL) {
        return NULL;
    }
    const struct usbdevfs_urb* urb = (const void*)data->data;
    UMockdevIoctlData* buffer = umockdev_ioctl_data_resolve(
        data, offsetof(struct usbdevfs_urb, buffer), (gsize)urb->buffer_length, NULL);
    if (buffer != NULL) {
        g_object_unref(buffer); /* its parent keeps it */
    }
    g_queue_push_tail(pending, g_object_ref(data));
    return data;
}

/* Answers the oldest transfer: a request for a string descriptor; any other one stalls. */
static UMockdevIoctlData* reap_urb(const Device* device, UMockdevIoctlData* argument,
                                   GQueue* pending)
{
    UMockdevIoctlData* transfer = g_queue_pop_head(pending);
    if (transfer == NULL) {
        return NULL;
    }
    struct usbdevfs_urb* urb = (void*)transfer->data;
    guint8* setup = urb->buffer;
    int length = -EPIPE;
    if (urb->type == USBDEVFS_URB_TYPE_CONTROL && urb->buffer_length >= SETUP_BYTES &&
        setup[0] == 0x80 && setup[1] == 6 && setup[3] == STRING_DESCRIPTOR) {
        length = string_descriptor(device, setup[2], setup + SETUP_BYTES,
                                   urb->buffer_length - SETUP_BYTES);
    }
    urb->status = MIN(length, 0);
    urb->actual_length = MAX(length, 0);
    UMockdevIoctlData* data = umockdev_ioctl_data_resolve(argument, 0, sizeof(void*), NULL);
    umockdev_ioctl_data_set_ptr(data, 0, transfer);
    g_object_unref(transfer);
    return data;
}

/* Runs in libumockdev's worker thread. */
static gboolean on_ioctl(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer user)
{
    (void)base;
    const Device* device = user;
    UMockdevIoctlData* argument = umockdev_ioctl_client_get_arg(client);
    UMockdevIoctlData* data = NULL;
    int error = 0;
    GQueue* pending = g_object_get_data(G_OBJECT(client), "pending");
    if (pending == NULL) {
        pending = g_queue_new();
        g_object_set_data_full(G_OBJECT(client), "pending", pending, (GDestroyNotify)g_queue_free);
    }
    switch (umockdev_ioctl_client_get_request(client)) {
    case USBDEVFS_GET_CAPABILITIES:
        data = umockdev_ioctl_data_resolve(argument, 0, sizeof(guint32), NULL);
        *(guint32*)(void*)data->data = USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_BULK_CONTINUATION |
                                       USBDEVFS_CAP_NO_PACKET_SIZE_LIM;
        break;
    case USBDEVFS_SUBMITURB:
        data = submit_urb(argument, pending);
        error = data == NULL ? EFAULT : 0;
        break;
    case USBDEVFS_REAPURB:
    case USBDEVFS_REAPURBNDELAY:
        data = reap_urb(device, argument, pending);
        error = data == NULL ? EAGAIN : 0;
        break;
    case USBDEVFS_DISCARDURB:
        error = EINVAL; /* done already */
        break;
    case USBDEVFS_GETDRIVER:
        error = ENODATA; /* no kernel driver holds it */
        break;
    case USBDEVFS_CLAIMINTERFACE:
    case USBDEVFS_RELEASEINTERFACE:
    case USBDEVFS_RESET:
    case USBDEVFS_CLEAR_HALT:
        break;
    default:
        error = ENOTTY;
    }
    umockdev_ioctl_client_complete(client, error == 0 ? 0 : -1, error);
    if (data != NULL) {
        g_object_unref(data);
    }
    return TRUE;
}

/* The device and its one configuration: a HID interface with an endpoint for each direction. */
static char* descriptors(guint product, guint release)
{
    const guint8 bytes[] = {
        18,
        1,
        0x00,
        0x02,
        0,
        0,
        0,
        64,
        low(VENDOR_ID),
        high(VENDOR_ID),
        low(product),
        high(product),
        low(release),
        high(release),
        1,
        2,
        3,
        1,
        9,
        2,
        41,
        0,
        1,
        1,
        0,
        0x80,
        50,
        9,
        4,
        0,
        0,
        2,
        3,
        0,
        0,
        0,
        9,
        0x21,
        0x11,
        1,
        0,
        1,
        0x22,
        34,
        0,
        7,
        5,
        0x81,
        3,
        64,
        0,
        1,
        7,
        5,
        0x01,
        3,
        64,
        0,
        1,
    };
    GString* hex = g_string_new(NULL);
    for (gsize i = 0; i < sizeof bytes; ++i) {
        g_string_append_printf(hex, "%02X", bytes[i]);
    }
    return g_string_free(hex, FALSE);
}

static gboolean add_device(const char* text)
{
    guint product = 0;
    guint release = 0;
    char serial[64];
    int used = 0;
    if (sscanf(text, "%4x:%4x:%63s%n", &product, &release, serial, &used) != 3 || text[used] != 0) {
        fprintf(stderr, "hidbed: '%s' is not PRODUCT:RELEASE:SERIAL\n", text);
        return FALSE;
    }
    if (g_hash_table_contains(devices, serial)) {
        fprintf(stderr, "hidbed: device %s is plugged already\n", serial);
        return FALSE;
    }
    const guint number = next_number++;
    Device* device = g_new0(Device, 1);
    device->serial = g_strdup(serial);
    device->syspath = g_strdup_printf("/sys/devices/pci0000:00/0000:00:14.0/usb1/1-%u", number - 1);
    device->devnode = g_strdup_printf("/dev/bus/usb/001/%03u", number);
    char* hex = descriptors(product, release);
    char* record = g_strdup_printf(
        "P: %s\nN: bus/usb/001/%03u=%s\nE: DEVNAME=%s\nE: DEVTYPE=usb_device\nE: SUBSYSTEM=usb\n"
        "E: BUSNUM=001\nE: DEVNUM=%03u\nE: PRODUCT=%x/%x/%x\nE: MAJOR=189\nE: MINOR=%u\n"
        "A: dev=189:%u\\n\nA: busnum=1\\n\nA: devnum=%u\\n\nA: speed=12\\n\n"
        "A: bConfigurationValue=1\\n\nH: descriptors=%s\n\n",
        device->syspath + strlen("/sys"), number, hex, device->devnode, number, (guint)VENDOR_ID,
        product, release, number - 1, number - 1, number, hex);
    device->handler = umockdev_ioctl_base_new();
    g_signal_connect(device->handler, "handle-ioctl", G_CALLBACK(on_ioctl), device);
    GError* error = NULL;
    if (!umockdev_testbed_attach_ioctl(testbed, device->devnode, device->handler, &error) ||
        !umockdev_testbed_add_from_string(testbed, record, &error)) {
        g_error("hidbed: %s", error->message);
    }
    g_hash_table_insert(devices, device->serial, device);
    umockdev_testbed_uevent(testbed, device->syspath, "add");
    g_free(record);
    g_free(hex);
    return TRUE;
}

static void remove_device(const char* serial)
{
    Device* device = g_hash_table_lookup(devices, serial);
    if (device == NULL) {
        fprintf(stderr, "hidbed: no device %s\n", serial);
        return;
    }
    umockdev_testbed_uevent(testbed, device->syspath, "remove");
    umockdev_testbed_detach_ioctl(testbed, device->devnode, NULL);
    umockdev_testbed_remove_device(testbed, device->syspath);
    /* The record stays: the program may still be connected to it. */
    g_hash_table_remove(devices, serial);
}

static gboolean on_command(GIOChannel* channel, GIOCondition condition, gpointer user)
{
    (void)condition;
    (void)user;
    char* line = NULL;
    while (g_io_channel_read_line(channel, &line, NULL, NULL, NULL) == G_IO_STATUS_NORMAL) {
        g_strstrip(line);
        if (g_str_has_prefix(line, "add ")) {
            add_device(line + 4);
        } else if (g_str_has_prefix(line, "del ")) {
            remove_device(line + 4);
        } else if (*line != 0) {
            fprintf(stderr, "hidbed: '%s' is neither \"add DEVICE\" nor \"del SERIAL\"\n", line);
        }
        g_free(line);
        line = NULL;
    }
    return TRUE;
}

static gboolean on_signal(gpointer number)
{
    kill(child, GPOINTER_TO_INT(number));
    return TRUE;
}

static void on_child_end(GPid pid, gint status, gpointer user)
{
    (void)pid;
    (void)user;
    exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    g_main_loop_quit(loop);
}

/* In the child: a testbed that is killed takes its program along. */
static void before_program(gpointer user)
{
    (void)user;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
}

/* The testbed's library must be loaded before all others, in this process too: without it there
 * are no plug events. */
static int run_again_preloaded(char** argv)
{
    static const char library[] = "libumockdev-preload.so.0";
    const char* loaded = g_getenv("LD_PRELOAD");
    char* preload = loaded != NULL && *loaded != 0 ? g_strconcat(loaded, ":", library, NULL)
                                                   : g_strdup(library);
    g_setenv("LD_PRELOAD", preload, TRUE);
    /* Programs built with AddressSanitizer insist on being first otherwise. */
    const char* options = g_getenv("ASAN_OPTIONS");
    char* asan = g_strconcat(options != NULL ? options : "", options != NULL ? ":" : "",
                             "verify_asan_link_order=0", NULL);
    g_setenv("ASAN_OPTIONS", asan, TRUE);
    execv("/proc/self/exe", argv);
    perror("hidbed: execv");
    return 127;
}

int main(int argc, char** argv)
{
    const char* preload = g_getenv("LD_PRELOAD");
    if (preload == NULL || strstr(preload, "libumockdev-preload") == NULL) {
        return run_again_preloaded(argv);
    }
    testbed = umockdev_testbed_new();
    devices = g_hash_table_new(g_str_hash, g_str_equal);
    const char* fifo = NULL;
    int i = 1;
    gboolean valid = TRUE;
    for (; i < argc && strcmp(argv[i], "--") != 0; ++i) {
        if (strcmp(argv[i], "-c") == 0 && i + 1 < argc) {
            fifo = argv[++i];
        } else {
            valid = add_device(argv[i]) && valid;
        }
    }
    if (!valid || ++i >= argc) {
        fprintf(stderr, "usage: hidbed [-c FIFO] [PRODUCT:RELEASE:SERIAL ...] -- "
                        "PROGRAM [ARGUMENT ...]\n");
        g_object_unref(testbed);
        return 2;
    }
    loop = g_main_loop_new(NULL, FALSE);
    if (fifo != NULL) {
        /* Open for writing too, so that a writer that goes does not end it. */
        const int fd = open(fifo, O_RDWR | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) {
            fprintf(stderr, "hidbed: %s: %s\n", fifo, strerror(errno));
            g_object_unref(testbed);
            return 2;
        }
        g_io_add_watch(g_io_channel_unix_new(fd), G_IO_IN, on_command, NULL);
    }
    /* Before the program starts, which may be told to end at once. The loop calls them after it. */
    g_unix_signal_add(SIGTERM, on_signal, GINT_TO_POINTER(SIGTERM));
    g_unix_signal_add(SIGINT, on_signal, GINT_TO_POINTER(SIGINT));
    GError* error = NULL;
    if (!g_spawn_async(NULL, argv + i, NULL,
                       G_SPAWN_DO_NOT_REAP_CHILD | G_SPAWN_SEARCH_PATH |
                           G_SPAWN_CHILD_INHERITS_STDIN,
                       before_program, NULL, &child, &error)) {
        fprintf(stderr, "hidbed: %s\n", error->message);
        g_object_unref(testbed);
        return 127;
    }
    g_child_watch_add(child, on_child_end, NULL);
    g_main_loop_run(loop);
    g_object_unref(testbed);
    return exit_status;
}
