' Late binding from script: the control made by its ProgID and driven through IDispatch alone.
' Every mismatch is printed; the script ends with exit code 1 if there was one, and prints its
' closing line only when every check passed.
Option Explicit
On Error Resume Next

Dim failures
failures = 0

Sub Expect(description, actual, expected)
    If Err.Number <> 0 Then
        WScript.Echo "FAILED " & description & ": error " & Hex(Err.Number) & " " & Err.Description
        Err.Clear
        failures = failures + 1
    ElseIf actual <> expected Then
        WScript.Echo "FAILED " & description & ": got " & actual & ", expected " & expected
        failures = failures + 1
    End If
End Sub

Sub ExpectRefused(description)
    If Err.Number = 0 Then
        WScript.Echo "FAILED " & description & ": accepted"
        failures = failures + 1
    End If
    Err.Clear
End Sub

Dim chart, value
Set chart = CreateObject("QvxLinnograph.LinnographCtl")
If Err.Number <> 0 Or Not IsObject(chart) Then
    WScript.Echo "FAILED CreateObject: error " & Hex(Err.Number) & " " & Err.Description
    WScript.Quit 1
End If

value = chart.Caption
Expect "Caption", value, "Real-time Linnograph"
chart.Caption = "Pump pressure"
value = chart.Caption
Expect "Caption after set", value, "Pump pressure"

value = chart.DataTimeSpan
Expect "DataTimeSpan", value, 200000000
chart.DataTimeSpan = 4000000000
value = chart.DataTimeSpan
Expect "DataTimeSpan after set", value, 4000000000
value = chart.HistoricDataTimeSpan
Expect "HistoricDataTimeSpan raised with it", value, 4000000000

chart.DataTimeSpan = 9999999
ExpectRefused "DataTimeSpan below one second"
value = chart.DataTimeSpan
Expect "DataTimeSpan kept after a refusal", value, 4000000000

value = chart.VerticalSplitPos
Expect "VerticalSplitPos", value, 1.25
chart.VerticalSplitPos = 2.5
value = chart.VerticalSplitPos
Expect "VerticalSplitPos after set", value, 2.5

chart.ShowCursorValues = False
value = chart.ShowCursorValues
Expect "ShowCursorValues after set", value, False

chart.ShowGrid = False
value = chart.ShowGrid
Expect "ShowGrid after set", value, False
chart.PointSize = 61
ExpectRefused "PointSize above 60"

Set chart = Nothing
If failures > 0 Then
    WScript.Echo failures & " check(s) failed"
    WScript.Quit 1
End If
WScript.Echo "late binding: all checks passed"
WScript.Quit 0
