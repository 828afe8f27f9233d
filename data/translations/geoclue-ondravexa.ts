<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<!-- For a translator: copy to geoclue-ondravexa_LANGUAGE.ts and fill in the translation, best with Qt Linguist. -->
<TS version="2.1" sourcelanguage="en">
<context>
    <name>OndraVexa</name>
    <message>
        <source>qtn_ondravexa_ondra_vexa</source>
        <extracomment>What the provider is, in a few words, as a list of location providers shows it. In English: Position from mobile cells and WLAN access points.</extracomment>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
