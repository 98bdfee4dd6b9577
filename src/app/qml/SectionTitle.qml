import QtQuick

Text {
    color: Theme.dim
    font.pixelSize: 11
    font.weight: Font.DemiBold
    font.capitalization: Font.AllUppercase
    font.letterSpacing: 0.8
    topPadding: 6
}
