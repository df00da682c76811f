// A table that on a narrow screen is a list of cards, and stays a table to those who listen: what is not
// laid out as one loses its roles unless they are said.
/** `columns`: [{ label, class }]; `rows`: [{ key, cells }], the first cell of each names the row. */
export function Table({ caption, labelledby, columns, rows, kind = '' }) {
  return (
    <table class={`stack ${kind}`} role="table" aria-labelledby={labelledby}>
      {caption && <caption class="unseen">{caption}</caption>}
      <thead role="rowgroup">
        <tr role="row">{columns.map(({ label }) => <th key={label} role="columnheader" scope="col">{label}</th>)}</tr>
      </thead>
      <tbody role="rowgroup">
        {rows.map(({ key, cells: [first, ...others] }) => (
          <tr key={key} role="row">
            <th role="rowheader" scope="row" class={columns[0].class}>{first}</th>
            {others.map((cell, i) => (
              <td key={columns[i + 1].label} role="cell" class={columns[i + 1].class} data-label={columns[i + 1].label}>{cell}</td>
            ))}
          </tr>
        ))}
      </tbody>
    </table>
  );
}
