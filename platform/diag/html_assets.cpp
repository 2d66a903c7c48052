#include "platform/diag/html_assets.h"

const char* xf_DiagHtmlStyle() {
    return R"CSS(
:root { --bg: #f5f6f8; --fg: #1c2228; --muted: #6a737d; --line: #d8dde3; --card: #fff;
        --accent: #2f6fe4; --head: #1f252c; }
* { box-sizing: border-box; }
html { scroll-padding-top: 56px; }
body { margin: 0; font: 14px/1.45 system-ui, -apple-system, "Segoe UI", Roboto, sans-serif;
       color: var(--fg); background: var(--bg); }
header { position: sticky; top: 0; z-index: 10; background: var(--head); color: #fff;
         padding: 9px 20px; display: flex; gap: 18px; align-items: center; flex-wrap: wrap; }
header h1 { font-size: 16px; margin: 0; font-weight: 600; letter-spacing: .2px; }
header .summary { color: #aeb7c1; font-size: 13px; }
header .tools { margin-left: auto; display: flex; gap: 8px; align-items: center; font-size: 13px; }
button { font: inherit; font-size: 12px; border: 1px solid #8a94a066; background: transparent;
         color: inherit; border-radius: 5px; padding: 2px 9px; cursor: pointer; }
button:hover { background: #8a94a033; }
.layout { display: grid; grid-template-columns: minmax(180px, 270px) 1fr; }
nav.toc { position: sticky; top: 44px; align-self: start; max-height: calc(100vh - 44px);
          overflow: auto; padding: 12px 8px 40px 14px; border-right: 1px solid var(--line);
          font-size: 12.5px; }
nav.toc ul { list-style: none; margin: 0; padding-left: 11px; }
nav.toc > ul { padding-left: 0; }
nav.toc a { color: var(--fg); text-decoration: none; display: block; padding: 1px 5px;
            border-radius: 3px; white-space: nowrap; overflow: hidden; text-overflow: ellipsis; }
nav.toc a:hover { background: #e3e8ef; }
nav.toc .n { color: var(--muted); margin-right: 5px; font-variant-numeric: tabular-nums; }
main { padding: 14px 24px 80px; min-width: 0; }
.empty { color: var(--muted); font-style: italic; padding: 30px 0; }
details.rec { background: var(--card); border: 1px solid var(--line); border-radius: 7px;
              margin: 9px 0; }
details.rec:target > summary { background: #fff6d6; }
details.rec > summary { cursor: pointer; padding: 7px 12px; display: flex; gap: 9px;
                        align-items: baseline; list-style: none; border-radius: 7px; }
details.rec > summary::-webkit-details-marker { display: none; }
details.rec > summary::before { content: "\25B8"; color: var(--muted); display: inline-block;
                                width: .8em; transition: transform .12s; }
details.rec[open] > summary::before { transform: rotate(90deg); }
summary .num { color: var(--muted); font-size: 12px; font-variant-numeric: tabular-nums; }
summary .title { font-weight: 600; font-size: 14.5px; display: inline; margin: 0; }
summary .title.untitled { font-weight: 400; font-style: italic; color: var(--muted); }
summary .meta { color: var(--muted); font-size: 12px; margin-left: auto; white-space: nowrap; }
.body { padding: 2px 14px 12px 14px; }
.children { border-left: 3px solid #e3e7ec; padding-left: 12px; margin: 8px 0 0 2px; }
figure.view { margin: 6px 0 10px; display: inline-block; max-width: 100%; }
.viewport { overflow: auto; max-width: 100%; max-height: 78vh; border: 1px solid var(--line);
            background: #2a2f35; border-radius: 4px; display: inline-block; vertical-align: top; }
figure.view.active .viewport { outline: 2px solid var(--accent); outline-offset: 1px; }
.canvas { position: relative; cursor: zoom-in; }
.canvas.blank { background-color: #fbfcfd;
  background-image: linear-gradient(#eef1f4 1px, transparent 1px),
                    linear-gradient(90deg, #eef1f4 1px, transparent 1px);
  background-size: 16px 16px; }
.canvas img { position: absolute; left: 0; top: 0; width: 100%; height: 100%;
              image-rendering: pixelated; image-rendering: crisp-edges; user-select: none;
              -webkit-user-drag: none; }
.canvas svg { position: absolute; left: 0; top: 0; width: 100%; height: 100%; overflow: visible; }
.canvas svg * { vector-effect: non-scaling-stroke; }
.canvas svg .halo { stroke: #000; stroke-opacity: .55; }
.canvas svg text { font-family: system-ui, sans-serif; paint-order: stroke; stroke: #000a;
                   stroke-width: 2px; }
body.no-graphics .canvas svg { display: none; }
figcaption { font-size: 12px; color: var(--muted); margin-top: 5px; display: flex;
             flex-wrap: wrap; gap: 4px 14px; align-items: center; max-width: 900px; }
figcaption .controls { display: flex; gap: 5px; align-items: center; }
figcaption .controls button { color: var(--fg); }
figcaption .zoom { min-width: 3.5em; font-variant-numeric: tabular-nums; }
figcaption .readout { font-family: ui-monospace, SFMono-Regular, Menlo, Consolas, monospace;
                      font-size: 11.5px; color: var(--fg); min-height: 1.4em; }
.layers { display: flex; flex-direction: column; gap: 2px; font-size: 12.5px; margin: 2px 0 8px; }
.layers label { display: flex; gap: 6px; align-items: center; cursor: pointer; }
.layers .sw { display: inline-block; width: 11px; height: 11px; border-radius: 2px;
              border: 1px solid #0003; }
.layers .cs { color: var(--muted); font-size: 11.5px; }
.note { font-size: 12px; color: #8a5a00; background: #fff4dc; border-radius: 4px;
        padding: 3px 8px; margin: 4px 0; display: inline-block; }
section.text { margin: 8px 0 10px; }
section.text h4 { margin: 0 0 3px; font-size: 12.5px; font-weight: 600; color: #39424c; }
section.text pre { margin: 0; padding: 8px 11px; background: #f7f8fa; border: 1px solid #e5e8ec;
                   border-radius: 5px; overflow: auto; max-height: 60vh; tab-size: 8;
                   font: 12.5px/1.4 ui-monospace, SFMono-Regular, Menlo, Consolas, monospace; }
section.page-summary { background: var(--card); border: 1px solid var(--line);
                       border-radius: 7px; padding: 10px 14px 6px; margin: 9px 0 16px; }
.facts { display: flex; flex-wrap: wrap; gap: 4px 26px; margin: 0 0 8px; }
.facts div { display: flex; gap: 7px; align-items: baseline; }
.facts dt { color: var(--muted); font-size: 12.5px; }
.facts dd { margin: 0; font-weight: 600; font-variant-numeric: tabular-nums; }
.legend { display: flex; flex-wrap: wrap; gap: 4px 16px; align-items: center; font-size: 12.5px;
          margin: 0 0 8px; }
.legend .legend-title { color: var(--muted); }
.legend .item, .summary-table td { white-space: nowrap; }
.sw { display: inline-block; width: 11px; height: 11px; border-radius: 2px;
      border: 1px solid #0003; margin-right: 5px; vertical-align: -1px; }
.summary-body { display: flex; flex-wrap: wrap; gap: 6px 22px; align-items: flex-start; }
.featured h2 { font-size: 13.5px; margin: 2px 0 0; font-weight: 600; }
.featured h2 a { color: var(--fg); }
.featured h2 .n { color: var(--muted); font-weight: 400; font-size: 12px; }
.summary-table-wrap { max-height: 560px; overflow: auto; }
table.summary-table { border-collapse: collapse; font-size: 12.5px;
                      font-variant-numeric: tabular-nums; }
table.summary-table caption { text-align: left; color: var(--muted); padding: 2px 0 4px; }
table.summary-table th { text-align: left; font-weight: 600; color: #39424c;
                         border-bottom: 1px solid var(--line); padding: 2px 10px 3px 4px; }
table.summary-table td { padding: 1px 10px 1px 4px; border-bottom: 1px solid #eef0f3;
                         font-family: ui-monospace, SFMono-Regular, Menlo, Consolas, monospace; }
@media (max-width: 760px) { .layout { display: block; } nav.toc { display: none; } }
)CSS";
}

const char* xf_DiagHtmlScript() {
    return R"JS(
(function () {
  'use strict';
  function fmt(v) { return (Math.round(v * 100) / 100).toString(); }
  function zoomText(z) { return z >= 1 ? fmt(z) + '\u00d7' : '1/' + fmt(1 / z) + '\u00d7'; }

  function setupView(fig) {
    var vp = fig.querySelector('.viewport'), cv = fig.querySelector('.canvas');
    var zl = fig.querySelector('.zoom'), ro = fig.querySelector('.readout');
    var w = +fig.dataset.w, h = +fig.dataset.h, x0 = +fig.dataset.x0, y0 = +fig.dataset.y0;
    var xf = fig.dataset.xf ? fig.dataset.xf.split(' ').map(Number) : null;
    var fit = +fig.dataset.zoom, z = fit;

    function apply(nz, cx, cy) {
      nz = Math.min(128, Math.max(1 / 32, nz));
      var r = vp.getBoundingClientRect();
      if (cx === undefined) { cx = r.left + vp.clientWidth / 2; cy = r.top + vp.clientHeight / 2; }
      var px = (vp.scrollLeft + cx - r.left) / z, py = (vp.scrollTop + cy - r.top) / z;
      z = nz;
      cv.style.width = (w * z) + 'px';
      cv.style.height = (h * z) + 'px';
      vp.scrollLeft = px * z - (cx - r.left);
      vp.scrollTop = py * z - (cy - r.top);
      if (zl) zl.textContent = zoomText(z);
    }
    apply(z);

    cv.addEventListener('click', function (e) {
      activate(fig);
      apply(z * (e.shiftKey ? 0.5 : 2), e.clientX, e.clientY);
    });
    vp.addEventListener('wheel', function (e) {
      if (!fig.classList.contains('active') && !e.ctrlKey) return;
      e.preventDefault();
      var d = e.deltaMode === 1 ? e.deltaY * 30 : e.deltaY;
      apply(z * Math.pow(1.0018, -d), e.clientX, e.clientY);
    }, { passive: false });
    cv.addEventListener('mousemove', function (e) {
      if (!ro) return;
      var r = cv.getBoundingClientRect();
      var ix = x0 + (e.clientX - r.left) / z, iy = y0 + (e.clientY - r.top) / z;
      var s = 'image (' + ix.toFixed(1) + ', ' + iy.toFixed(1) + ')  pixel (' +
              Math.floor(ix) + ', ' + Math.floor(iy) + ')';
      if (xf) {
        var cx = xf[0] * ix + xf[1] * iy + xf[4], cy = xf[2] * ix + xf[3] * iy + xf[5];
        s += '  client (' + cx.toFixed(2) + ', ' + cy.toFixed(2) + ')';
      }
      ro.textContent = s;
    });
    cv.addEventListener('mouseleave', function () { if (ro) ro.textContent = ''; });
    fig.querySelectorAll('button[data-zoom]').forEach(function (b) {
      b.addEventListener('click', function () {
        var k = b.dataset.zoom;
        apply(k === 'fit' ? fit : k === 'in' ? z * 2 : k === 'out' ? z / 2 : 1);
      });
    });
  }

  function activate(fig) {
    document.querySelectorAll('figure.view.active').forEach(function (f) {
      if (f !== fig) f.classList.remove('active');
    });
    fig.classList.add('active');
  }
  document.addEventListener('click', function (e) {
    if (!e.target.closest('figure.view'))
      document.querySelectorAll('figure.view.active').forEach(function (f) {
        f.classList.remove('active');
      });
  });

  document.querySelectorAll('figure.view').forEach(setupView);
  document.querySelectorAll('input[data-layer]').forEach(function (box) {
    box.addEventListener('change', function () {
      document.querySelectorAll('[data-layer-id="' + box.dataset.layer + '"]').forEach(function (g) {
        g.style.display = box.checked ? '' : 'none';
      });
    });
  });
  function setAll(open) {
    document.querySelectorAll('details.rec').forEach(function (d) { d.open = open; });
  }
  var ex = document.getElementById('expand-all'), co = document.getElementById('collapse-all');
  if (ex) ex.addEventListener('click', function () { setAll(true); });
  if (co) co.addEventListener('click', function () { setAll(false); });
  var gr = document.getElementById('show-graphics');
  if (gr) gr.addEventListener('change', function () {
    document.body.classList.toggle('no-graphics', !gr.checked);
  });
  // Following a link into a collapsed record opens its ancestors.
  function openTarget() {
    var t = location.hash && document.getElementById(location.hash.slice(1));
    for (var d = t; d; d = d.parentElement) if (d.tagName === 'DETAILS') d.open = true;
  }
  window.addEventListener('hashchange', openTarget);
  openTarget();
})();
)JS";
}
