import QtQuick

// The small line drawings of the prompt views, in one colour, on a 24-unit
// grid: the kinds of denial, the filter, and the app's own mark.
Canvas {
    id: glyph

    // "file", "network", "exec", "signal", "device", "filter" or "app".
    property string name
    property color color: "black"

    implicitWidth: 24
    implicitHeight: 24
    // Scaled vector drawing: the software renderer repaints at the item's size.
    renderTarget: Canvas.Image

    onNameChanged: requestPaint()
    onColorChanged: requestPaint()
    onWidthChanged: requestPaint()
    onHeightChanged: requestPaint()

    function punch(ctx, draw) {
        ctx.save();
        ctx.globalCompositeOperation = "destination-out";
        ctx.beginPath();
        draw();
        ctx.fill();
        ctx.restore();
    }

    function line(ctx, points) {
        ctx.beginPath();
        ctx.moveTo(points[0], points[1]);
        for (let i = 2; i < points.length; i += 2)
            ctx.lineTo(points[i], points[i + 1]);
        ctx.stroke();
    }

    onPaint: {
        const ctx = getContext("2d");
        ctx.reset();
        ctx.clearRect(0, 0, width, height);
        ctx.scale(width / 24, height / 24);
        ctx.fillStyle = color;
        ctx.strokeStyle = color;
        ctx.lineWidth = 1.7;
        ctx.lineCap = "round";
        ctx.lineJoin = "round";
        switch (name) {
        case "file":
            ctx.beginPath();
            ctx.moveTo(5, 2); ctx.lineTo(14, 2); ctx.lineTo(19.5, 7.5);
            ctx.lineTo(19.5, 22); ctx.lineTo(5, 22); ctx.closePath();
            ctx.fill();
            punch(ctx, () => { ctx.moveTo(13.5, 1); ctx.lineTo(13.5, 8); ctx.lineTo(20.5, 8); ctx.closePath(); });
            ctx.globalAlpha = 0.55;
            ctx.beginPath();
            ctx.moveTo(14.5, 2.5); ctx.lineTo(14.5, 7); ctx.lineTo(19, 7); ctx.closePath();
            ctx.fill();
            break;
        case "network":
            ctx.beginPath(); ctx.arc(12, 12, 9.5, 0, 2 * Math.PI); ctx.stroke();
            ctx.beginPath(); ctx.ellipse(7.5, 2.5, 9, 19); ctx.stroke();
            line(ctx, [12, 2.5, 12, 21.5]);
            line(ctx, [2.5, 12, 21.5, 12]);
            line(ctx, [4.5, 7, 19.5, 7]);
            line(ctx, [4.5, 17, 19.5, 17]);
            break;
        case "exec":
            ctx.beginPath(); ctx.roundedRect(2, 4, 20, 16, 3, 3); ctx.stroke();
            line(ctx, [6.5, 9, 10, 12, 6.5, 15]);
            line(ctx, [12, 15.5, 17, 15.5]);
            break;
        case "signal":
            ctx.beginPath();
            ctx.moveTo(12, 2.5); ctx.lineTo(22.5, 20.5); ctx.lineTo(1.5, 20.5); ctx.closePath();
            ctx.fill();
            punch(ctx, () => { ctx.rect(10.9, 8, 2.2, 7); });
            punch(ctx, () => { ctx.arc(12, 17.5, 1.3, 0, 2 * Math.PI); });
            break;
        case "device":
            ctx.beginPath(); ctx.roundedRect(6, 6, 12, 12, 2, 2); ctx.stroke();
            ctx.fillRect(9.5, 9.5, 5, 5);
            for (const p of [9, 12, 15]) {
                line(ctx, [p, 2.5, p, 6]);
                line(ctx, [p, 18, p, 21.5]);
                line(ctx, [2.5, p, 6, p]);
                line(ctx, [18, p, 21.5, p]);
            }
            break;
        case "filter":
            ctx.lineWidth = 1.4;
            ctx.beginPath(); ctx.arc(12, 12, 10, 0, 2 * Math.PI); ctx.stroke();
            line(ctx, [6.5, 8.5, 17.5, 8.5]);
            line(ctx, [8.5, 12, 15.5, 12]);
            line(ctx, [10.5, 15.5, 13.5, 15.5]);
            break;
        case "app":
            ctx.lineWidth = 1.4;
            ctx.beginPath();
            ctx.moveTo(12, 2); ctx.lineTo(20, 5); ctx.lineTo(20, 11);
            ctx.bezierCurveTo(20, 16.5, 16.5, 20.5, 12, 22);
            ctx.bezierCurveTo(7.5, 20.5, 4, 16.5, 4, 11);
            ctx.lineTo(4, 5); ctx.closePath();
            ctx.stroke();
            line(ctx, [8.5, 8.5, 15.5, 8.5, 8.5, 15.5, 15.5, 15.5]);
            break;
        }
    }
}
