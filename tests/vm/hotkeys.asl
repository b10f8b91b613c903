// A vendor's hot keys, for the emulated machine: its kernel has a driver for them. To press one, read the file
// "status" of the device KSNG0001.
DefinitionBlock ("", "SSDT", 2, "KSNG", "HOTKEYS", 1)
{
    Scope (\_SB)
    {
        Device (KEYS)
        {
            Name (_HID, "PNP0C14")
            Name (_UID, "KEYS")
            Method (_WDG)
            {
                // The driver's events come as notice 0x80, of which there is one.
                Return (Concatenate (ToUUID ("284A0E6B-380E-472A-921F-E52786257FB4"),
                                     Buffer () { 0x80, 0x00, 0x01, 0x08 }))
            }
            Method (_WED, 1)
            {
                Return (0xC0) // volume up
            }
        }
        Device (PRES)
        {
            Name (_HID, "KSNG0001")
            Method (_STA)
            {
                Notify (\_SB.KEYS, 0x80)
                Return (0x0F)
            }
        }
    }
}
