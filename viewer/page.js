// Lists the series of the embedded documents, one row per series under a heading per group.
(function () {
  "use strict";
  var docs = JSON.parse(document.getElementById("plot-data").textContent);
  var rows = document.getElementById("rows");
  var index = 0;
  var group = null;
  docs.forEach(function (doc) {
    doc.forEach(function (object) {
      if (object.type === "dictionaries") {
        return;
      }
      if (object.group !== group) {
        group = object.group;
        var heading = document.createElement("div");
        heading.className = "group";
        heading.textContent = group || "";
        rows.appendChild(heading);
      }
      var row = document.createElement("div");
      row.className = "row";
      row.dataset.seriesIndex = String(index++);
      row.dataset.label = object.label || "";
      row.textContent = (object.label || "") + " (" + object.type + ", " + object.data.length + " points)";
      rows.appendChild(row);
    });
  });
})();
