#include "library/hid.h"
#include "library/the_bench.h"

#include <om_tiv/om_tiv.h>

#include <QtTest>

#include <hidapi/hidapi.h>

#include <memory>

using namespace om::bench;

Q_DECLARE_METATYPE(om::MODEL)

namespace {

struct Freer
{
    void operator()(hid_device_info* list) const { hid_free_enumeration(list); }
};

/// The devices of a list, as text.
struct Found
{
    QStringList serials;
    std::unique_ptr<hid_device_info, Freer> list;

    const hid_device_info* device(const QString& serial) const
    {
        for (const hid_device_info* entry = list.get(); entry != nullptr; entry = entry->next) {
            if (QString::fromWCharArray(entry->serial_number) == serial) {
                return entry;
            }
        }
        return nullptr;
    }
};

Found enumerate(unsigned short vendor, unsigned short product)
{
    Found found;
    found.list.reset(hid_enumerate(vendor, product));
    for (const hid_device_info* entry = found.list.get(); entry != nullptr; entry = entry->next) {
        if (entry->vendor_id == usbVendorId) {
            found.serials << QString::fromWCharArray(entry->serial_number);
        }
    }
    return found;
}

void add(unsigned int serial, om::MODEL model, int productId = -1)
{
    CameraConfig config;
    config.serialNumber = serial;
    config.model = model;
    config.usbProductId = productId;
    QVERIFY(theBench().addCamera(config));
}

} // namespace

class HidTest : public QObject
{
    Q_OBJECT

private:
    Bench& m_bench = theBench();

private slots:
    void init() { m_bench.reset(); }
    void cleanupTestCase() { hid_exit(); }

    // Without the linker's option this program still links, but finds nothing.
    void simulatedCamerasAppearInTheBenchsOrder()
    {
        m_bench.loadDefault();
        QCOMPARE(enumerate(0x7C15, 0).serials, (QStringList{"31415926", "27182818", "14142135"}));
    }

    void emptyBenchAddsNothing() { QCOMPARE(enumerate(0x7C15, 0).serials, QStringList()); }

    void listIsFilteredByVendorAndProduct_data()
    {
        QTest::addColumn<int>("vendor");
        QTest::addColumn<int>("product");
        QTest::addColumn<QStringList>("expected");
        const QStringList all{"31415926", "27182818", "14142135"};
        QTest::newRow("everything") << 0 << 0 << all;
        QTest::newRow("the vendor") << 0x7C15 << 0 << all;
        QTest::newRow("another vendor") << 0x046D << 0 << QStringList();
        QTest::newRow("a product") << 0x7C15 << 0xA241 << QStringList{"27182818"};
        QTest::newRow("a product of any vendor") << 0 << 0xA141 << QStringList{"14142135"};
        QTest::newRow("an unknown product") << 0x7C15 << 0xBEEF << QStringList();
        QTest::newRow("a product of another vendor") << 0x046D << 0xA341 << QStringList();
    }
    void listIsFilteredByVendorAndProduct()
    {
        QFETCH(int, vendor);
        QFETCH(int, product);
        QFETCH(QStringList, expected);
        m_bench.loadDefault();
        QCOMPARE(
            enumerate(static_cast<unsigned short>(vendor), static_cast<unsigned short>(product))
                .serials,
            expected);
    }

    void productFollowsTheModel_data()
    {
        QTest::addColumn<om::MODEL>("model");
        QTest::addColumn<int>("product"); // 0: not a USB HID device
        QTest::newRow("TIV") << om::MODEL::TIV << 0;
        QTest::newRow("TIV_N") << om::MODEL::TIV_N << 0xA141;
        QTest::newRow("TIV_P") << om::MODEL::TIV_P << 0xA241;
        QTest::newRow("TIV_Q") << om::MODEL::TIV_Q << 0xA341;
        QTest::newRow("TIV_R") << om::MODEL::TIV_R << 0;
        QTest::newRow("TIV_S") << om::MODEL::TIV_S << 0;
        QTest::newRow("a model to come") << static_cast<om::MODEL>(6) << 0;
    }
    void productFollowsTheModel()
    {
        QFETCH(om::MODEL, model);
        QFETCH(int, product);
        add(12345, model);
        const Found found = enumerate(0x7C15, 0);
        QCOMPARE(found.serials.size(), product != 0 ? 1 : 0);
        if (product != 0) {
            QCOMPARE(int(found.list->product_id), product);
        }
    }

    void entryHasTheFieldsOfARealOne()
    {
        CameraConfig config;
        config.serialNumber = 30123456;
        config.model = om::MODEL::TIV_Q;
        config.usbRelease = 0x020A;
        m_bench.addCamera(config);
        const Found found = enumerate(0x7C15, 0);
        const hid_device_info* device = found.device("30123456");
        QVERIFY(device != nullptr);
        QCOMPARE(QString(device->path), QString("bench:30123456"));
        QCOMPARE(int(device->vendor_id), 0x7C15);
        QCOMPARE(int(device->product_id), 0xA341);
        QCOMPARE(int(device->release_number), 0x020A);
        QCOMPARE(QString::fromWCharArray(device->manufacturer_string), QString("Ombrelux"));
        QCOMPARE(QString::fromWCharArray(device->product_string), QString("TIV_Q"));
        QCOMPARE(int(device->bus_type), int(HID_API_BUS_USB));
        QVERIFY(device->next == nullptr);
    }

    void productIdOfTheConfigurationOverridesTheModels()
    {
        add(30123456, om::MODEL::TIV_Q, 0);
        add(30123457, om::MODEL::TIV_Q, 0xA999);
        const Found found = enumerate(0x7C15, 0);
        QCOMPARE(int(found.device("30123456")->product_id), 0);
        QCOMPARE(int(found.device("30123457")->product_id), 0xA999);
        QCOMPARE(enumerate(0x7C15, 0xA341).serials, QStringList());
    }

    void listFollowsPluggingAndUnplugging()
    {
        m_bench.loadDefault();
        m_bench.unplug(27182818);
        QCOMPARE(enumerate(0x7C15, 0).serials, (QStringList{"31415926", "14142135"}));
        m_bench.plug(27182818);
        m_bench.removeCamera(31415926);
        QCOMPARE(enumerate(0x7C15, 0).serials, (QStringList{"27182818", "14142135"}));
    }

    void cameraInUseStaysInTheList()
    {
        m_bench.loadDefault();
        om::TIVmcu link(false, 0x7C15, om::MODEL::TIV_Q, false, "");
        QCOMPARE(link.open(31415926, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false), 0);
        QVERIFY(enumerate(0x7C15, 0).serials.contains("31415926"));
    }

    void pathOpensTheLink()
    {
        m_bench.loadDefault();
        const Found found = enumerate(0x7C15, 0xA241);
        om::TIVmcu link(false, 0x7C15, om::MODEL::TIV_P, false, found.list->path);
        QCOMPARE(link.open(27182818, false, om::IMU_ODR_400_HZ, nullptr, nullptr, true, false), 0);
    }

    // AddressSanitizer and valgrind detect memory errors in the lists.
    void listsAreFreedByHidapi()
    {
        m_bench.loadDefault();
        for (int i = 0; i < 100; ++i) {
            QCOMPARE(enumerate(0, 0).serials.size(), 3);
        }
    }
};

QTEST_GUILESS_MAIN(HidTest)
#include "tst_hid.moc"
