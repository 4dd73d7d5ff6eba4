import QtQuick

// The product's mark.
PixelPickaxe {}
